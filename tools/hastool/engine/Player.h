// A player without a screen.
#pragma once

#include "Downloader.h"
#include "KeyStore.h"
#include "MediaWriter.h"
#include "PlaybackBuffer.h"
#include "Presentation.h"
#include "Renditions.h"
#include "Summary.h"
#include "Trace.h"

#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/BandwidthChecker.h>
#include <Hasutil/CPlayerSupport.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
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
};

/// Is told what happens, on the thread that plays.
class PlayObserver {
public:
    virtual ~PlayObserver() = default;
    virtual void onStatus(const PlayStatus& status) = 0;
    virtual void onSegment(const TraceRow& row) = 0;
    /// @param time  seconds since the play began
    virtual void onSwitch(double time, int from, int to) = 0;
    /// The first segment since the begin or a switch is there.
    /// @param resolution  "640x360"
    virtual void onRendition(double time, int bitrate, const std::string& resolution) = 0;
    /// Something went wrong that does not end the play.
    virtual void onTrouble(const std::string& what) = 0;
};

/// Plays a presentation to its end: fetches one piece after the other, measures, lets the switcher
/// choose, drains the buffer as time passes, writes the media and the trace.
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

    void open();
    void configureSwitcher();
    Document fetchDocument(const std::string& url);
    bool wantsMore() const;
    bool hasRoom() const;
    void choose();
    void changeTo(size_t stream);
    std::optional<NextPiece> nextPiece();
    void take(const MediaPiece& piece);
    bool fetchInit(const MediaPiece& piece);
    void accept(const MediaPiece& piece, const Outcome& outcome, const std::string& media);
    void skip(const MediaPiece& piece, const Outcome& outcome);
    void learnResolution(const std::string& media);
    void countLost(uint64_t pieces);
    Outcome fetch(const Resource& resource, size_t limit, std::string& bytes);
    Outcome fetchPart(const MediaPart& part, uint64_t index, size_t limit, std::string& bytes);
    Outcome decrypt(const MediaPart& part, const std::string& name, size_t limit,
                    std::string& bytes);
    Outcome fetchInto(const Resource& resource, ByteSink& sink);
    TraceRow rowOf(const MediaPiece& piece, const Outcome& outcome);
    void record(const TraceRow& row);
    void playOut();
    void pause(std::chrono::milliseconds time);
    void tick();
    void pollBandwidth();
    double secondsSinceStart() const;
    int bitrate() const;
    PlayStatus status();
    static hascommon::tag_HAS_Status onBitrateChanged(unsigned int type, unsigned int from,
                                                      unsigned int to, unsigned long long videoPts,
                                                      unsigned long long audioPts, void* self);

    const PlayOptions m_options;
    PlayObserver& m_observer;
    hascommon::BandwidthChecker m_checker;
    hascommon::AdaptiveSegSwitcher m_switcher;
    hascommon::CPlayerSupport m_support;
    std::optional<Trace> m_trace;
    MediaWriter m_writer;
    Downloader m_downloader;
    KeyStore m_keys;
    std::unique_ptr<Presentation> m_presentation;
    PlaybackBuffer m_buffer;

    size_t m_stream = 0;
    size_t m_lastGoodStream = 0;     ///< that a piece came from
    size_t m_shownStream = SIZE_MAX; ///< whose resolution was told last
    Renditions m_renditions;
    std::vector<bool> m_isBroken; ///< streams whose manifest cannot be had
    MediaPart m_init;
    std::string m_initBytes;
    const char* m_change = "";
    int m_failuresInARow = 0;
    std::string m_lastFailure;
    double m_mediaSeconds = 0; ///< fetched
    Summary m_summary;
    double m_bitSeconds = 0; ///< stream bitrates times durations

    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastTick = m_start;
    Clock::time_point m_lastStatus = m_start;
    long long m_lastPoll = 0;
};

} // namespace hastool
