// A player without a screen.
#pragma once

#include "Adaptation.h"
#include "DocumentDesk.h"
#include "Journal.h"
#include "PieceIntake.h"
#include "PlayObserver.h"
#include "PlayOptions.h"
#include "PlayTrack.h"
#include "PlayWorld.h"
#include "PlaybackBuffer.h"
#include "Schedule.h"
#include "SubtitleRun.h"
#include "Summary.h"
#include "ViewerPause.h"
#include <hastool/base/ToolError.h>
#include <hastool/formats/Presentation.h>
#include <hastool/net/KeyStore.h>

#include <deque>
#include <memory>
#include <optional>

namespace hastool {

/// Plays a presentation to its end: fetches the tracks beside each other, measures, lets the
/// switcher choose, drains the buffer as time passes, writes the media and the trace. While the
/// buffer is full, or the viewer pauses, transfers are held.
///
/// It is a loop: it does everything that needs no waiting, then waits until a transfer ends or a
/// short time has passed.
class Player {
public:
    /// @param observer  borrowed
    /// @param world     whose clock is borrowed
    Player(PlayOptions options, PlayObserver& observer, const PlayWorld& world = realWorld());
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Plays. Ends early, without an error, when the user interrupts.
    /// @throws ToolError when the play cannot go on; summary() then tells how far it came
    void play();

    Summary summary();

private:
    void playToEnd();
    void keepOutputs();
    std::optional<ToolError> mergeOutputs();
    void open();
    std::unique_ptr<Presentation> openWithDocuments();
    std::unique_ptr<MediaWriter> writerOf(const TrackInfo& track);
    void openSchedule(const std::vector<TrackInfo>& tracks);
    void runAll();
    bool awaitsSubtitles() const;
    void playOut();
    void pass();
    void passTime();
    void settle();
    void holdTransfers();
    bool isStalled() const;
    double liveDistance() const;
    PlaySample sample();

    const PlayOptions m_options;
    const Clock& m_clock;
    std::unique_ptr<MediaWriter> m_mainWriter; ///< until the main track has it
    Journal m_journal;
    Adaptation m_adaptation;
    std::unique_ptr<Fetcher> m_fetcher;
    DocumentDesk m_desk;
    KeyStore m_keys;
    std::unique_ptr<Presentation> m_presentation;
    std::deque<PlayTrack> m_tracks; ///< the first is the one that the switcher chooses for
    PlaybackBuffer m_buffer;
    ViewerPause m_viewer;
    TimedEvents m_events;
    PieceIntake m_intake;
    TransferSlot m_opening; ///< for the documents that opening the presentation needs
    std::optional<Schedule> m_schedule;
    std::optional<SubtitleRun> m_subtitles; ///< where they are wanted
    Clock::TimePoint m_lastTick;
    std::optional<Clock::TimePoint> m_subtitlesUntil; ///< they are not waited for any longer
};

} // namespace hastool
