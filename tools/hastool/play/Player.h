// A player without a screen.
#pragma once

#include "PieceFetcher.h"
#include "PlayTrack.h"
#include "PlaybackBuffer.h"
#include "PlayerCallbacks.h"
#include "Summary.h"
#include "Trace.h"
#include "ViewerPause.h"
#include <hastool/formats/Presentation.h>

#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/BandwidthChecker.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// What to play and how.
struct PlayOptions {
    std::string url;
    EngineOptions engine;
    bool fast = false;        ///< play as quickly as media comes in
    std::string output;       ///< empty for none
    std::string trace;        ///< empty for none
    double duration = 0;      ///< stop after so many seconds of media; 0 for all
    uint64_t maxSegments = 0; ///< stop after so many segments; 0 for all
    int startBitrate = 0;     ///< begin with the best stream up to this; 0 for the lowest
    int audioBitrate = 0;     ///< play the best audio stream up to this; 0 for the lowest
    std::vector<std::pair<int, int>> limits;       ///< allowed bitrates, inclusive
    std::vector<hascommon::bitrateParam_t> groups; ///< see IBitrateSwitcher
    int marginKbps = 0;  ///< bandwidth kept free; 0 for the switcher's own
    int upTimer = 0;     ///< seconds before a change to a higher group
    double pauseAt = -1; ///< pause as a viewer would at this position; below 0 never
    double pauseFor = 0; ///< seconds
    std::chrono::milliseconds bufferGoal{30000};
    std::chrono::milliseconds liveTimeout{60000};
};

/// How a play stands.
struct PlayStatus {
    double position = 0; ///< seconds of media played
    double buffer = 0;   ///< seconds of media ahead
    int bitrate = 0;
    std::string resolution; ///< "640x360"; empty until known
    unsigned bandwidth = 0; ///< mean, bits per second; 0 until measured
    int switches = 0;
    bool stalled = false;
    bool paused = false; ///< by the viewer
};

/// One measurement, taken whenever the engine's bandwidth is polled, whenever play or transfers
/// begin or cease to stand still, and at the end.
struct PlaySample {
    double time = 0;        ///< seconds since the play began
    unsigned bandwidth = 0; ///< the newest of the window's measure, bits per second
    unsigned mean = 0;      ///< the window's mean
    double buffer = 0;      ///< seconds
    double position = 0;    ///< seconds
    int bitrate = 0;        ///< of the chosen stream
    bool playing = false;
    bool transferHeld = false; ///< the buffer is full, or the viewer pauses
    bool stalled = false;      ///< play had begun and waits for media
    bool paused = false;       ///< by the viewer
};

/// Is told what happens, on the thread that plays.
class PlayObserver {
public:
    virtual ~PlayObserver() = default;
    virtual void onStatus(const PlayStatus& status) = 0;
    virtual void onSegment(const TraceRow& row) = 0;
    virtual void onSample(const PlaySample& sample) = 0;
    /// The player was told something, or the viewer did something.
    /// @param kind  "bitrate", "discontinuity", "event", "drm-error", "pause", "retry", "stall",
    /// ...
    virtual void onEvent(double time, const std::string& kind, const std::string& what) = 0;
    /// @param time  seconds since the play began
    virtual void onSwitch(double time, int from, int to) = 0;
    /// The first segment since the begin or a switch is there.
    /// @param resolution  "640x360"
    virtual void onRendition(double time, int bitrate, const std::string& resolution) = 0;
    /// Something went wrong that does not end the play.
    virtual void onTrouble(const std::string& what) = 0;
};

/// Plays a presentation to its end: fetches one piece after the other, of the track that has the
/// least, measures, lets the switcher choose, drains the buffer as time passes, writes the media
/// and the trace. While the buffer is full the next piece's transfer is held in the engine.
class Player {
public:
    /// @param observer  borrowed
    Player(PlayOptions options, PlayObserver& observer);

    /// Plays. Ends early, and quietly, when the user interrupts.
    /// @throws ToolError when it cannot go on; summary() then tells how far it came
    void play();

    Summary summary();

private:
    using Clock = std::chrono::steady_clock;

    void playToEnd();
    void keepOutputs();
    void open();
    std::unique_ptr<MediaWriter> writerOf(const TrackInfo& track);
    void configureSwitcher();
    bool wantsMore() const;
    PlayTrack* pickTrack();
    void advance(PlayTrack& track);
    void choose(PlayTrack& track);
    void changeTo(PlayTrack& track, size_t stream);
    std::optional<NextPiece> nextPiece(PlayTrack& track);
    void tellWarnings();
    void take(PlayTrack& track, const MediaPiece& piece);
    void tellPlayer(const MediaPiece& piece);
    bool fetchInit(PlayTrack& track, const MediaPiece& piece);
    void accept(PlayTrack& track, const MediaPiece& piece, const Outcome& outcome,
                const std::string& media);
    void buffered(PlayTrack& track, const MediaPiece& piece, uint64_t bytes);
    void skip(PlayTrack& track, const MediaPiece& piece, const Outcome& outcome);
    void learnResolution(PlayTrack& track, const std::string& media);
    void countLost(uint64_t pieces);
    void protect(const MediaPiece& piece, const MediaPart& part, std::string& bytes);
    TraceRow rowOf(const PlayTrack& track, const MediaPiece& piece, const Outcome& outcome);
    void record(const TraceRow& row);
    void playOut();
    void pause(std::chrono::milliseconds time);
    void tick();
    void passTime(std::chrono::milliseconds time);
    void holdTransfers();
    void pollBandwidth();
    void watchState();
    void tellStall();
    void takeSample();
    bool isStalled() const;
    unsigned long long pts() const;
    double secondsSinceStart() const;
    int bitrate() const;
    PlayStatus status();
    PlaySample sample();

    const PlayOptions m_options;
    PlayObserver& m_observer;
    hascommon::BandwidthChecker m_checker;
    hascommon::AdaptiveSegSwitcher m_switcher;
    std::optional<Trace> m_trace;
    std::unique_ptr<MediaWriter> m_mainWriter; ///< until the main track has it
    PlayerCallbacks m_callbacks;
    PieceFetcher m_fetcher;
    std::unique_ptr<Presentation> m_presentation;
    std::deque<PlayTrack> m_tracks; ///< the first is the one that the switcher chooses for
    PlaybackBuffer m_buffer;
    ViewerPause m_viewer;

    size_t m_shownStream = SIZE_MAX; ///< whose resolution was told last
    TraceRow m_choice;               ///< the fields of the last choice
    double m_pieceBegun = 0;         ///< when the piece was asked for
    PlaySample m_lastSample;
    bool m_isStallTold = false; ///< its begin, and not its end
    double m_stallBegun = 0;
    bool m_hasDateTime = false; ///< the first one was told
    std::string m_lastFailure;
    Summary m_summary;
    double m_bitSeconds = 0;  ///< bitrates of the main track's pieces times their durations
    double m_mainSeconds = 0; ///< of these pieces

    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastTick = m_start;
    Clock::time_point m_lastStatus = m_start;
    long long m_lastPoll = 0;
};

} // namespace hastool
