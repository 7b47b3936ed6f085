// All that happened in a play.
#pragma once

#include <hastool/play/Player.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// Keeps what a play's observer is told, for a report. Times are seconds since the play began.
///
/// However long the play, the record stays small: whenever it has too many samples it drops every
/// other one; segments and events beyond a limit are only counted.
class PlayRecord : public PlayObserver {
public:
    /// The polls of more than an hour; a chart cannot show more.
    static constexpr size_t kMaxSamples = 16384;
    static constexpr size_t kMaxSegments = 20000; ///< eleven hours of two seconds each
    static constexpr size_t kMaxEvents = 5000;    ///< nobody reads more

    /// Something that happened, as PlayObserver tells it.
    struct Event {
        double time = 0;
        std::string kind;
        std::string what;
    };
    struct Switch {
        double time = 0;
        int from = 0; ///< bits per second
        int to = 0;
    };
    /// From when to when something was so.
    struct Range {
        double begin = 0;
        double end = 0;
    };

    void onStatus(const PlayStatus& status) override;
    void onSegment(const TraceRow& row) override;
    void onSample(const PlaySample& sample) override;
    void onEvent(double time, const std::string& kind, const std::string& what) override;
    void onSwitch(double time, int from, int to) override;
    void onRendition(double time, int bitrate, const std::string& resolution) override;
    /// Is kept as an event. It comes without a time, so it gets the last one that was told.
    void onTrouble(const std::string& what) override;

    const std::vector<PlaySample>& samples() const { return m_samples; }
    const std::vector<TraceRow>& segments() const { return m_segments; }
    const std::vector<Event>& events() const { return m_events; }
    const std::vector<Switch>& switches() const { return m_switches; }
    const std::vector<Range>& stalls() const { return m_stalls.list; }
    const std::vector<Range>& pauses() const { return m_pauses.list; }
    const std::vector<Range>& holds() const { return m_holds.list; }
    /// The bitrate at the begin, bits per second; 0 when nothing was chosen.
    int firstBitrate() const { return m_firstBitrate; }
    /// The last moment that was told.
    double end() const { return m_end; }
    /// How many segments, and events, are not kept.
    uint64_t segmentsLeftOut() const { return m_segmentsLeftOut; }
    uint64_t eventsLeftOut() const { return m_eventsLeftOut; }

private:
    struct Ranges {
        /// Says whether it is so at a moment. An open range grows up to that moment.
        void step(double time, bool isSo);

        std::vector<Range> list;
        bool isOpen = false;
    };

    void reach(double time);
    void keepSample(const PlaySample& sample);

    std::vector<PlaySample> m_samples;
    std::vector<TraceRow> m_segments;
    std::vector<Event> m_events;
    std::vector<Switch> m_switches;
    Ranges m_stalls;
    Ranges m_pauses;
    Ranges m_holds;
    int m_firstBitrate = 0;
    double m_end = 0;
    uint64_t m_sampleCount = 0; ///< samples that came, kept or not
    uint64_t m_every = 1;       ///< one of so many samples is kept
    uint64_t m_segmentsLeftOut = 0;
    uint64_t m_eventsLeftOut = 0;
};

} // namespace hastool
