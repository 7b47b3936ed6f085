// What a rule hears of the transfers of segments.
#pragma once

#include "Clock.h"
#include "PlaybackBuffer.h"
#include "StreamRule.h"

#include <cstdint>
#include <optional>

namespace hastool {

/// Tells a rule of one transfer after the other, by a clock that stands still while transfers are
/// held.
class SegmentWatch {
public:
    using Time = StreamRule::Time;

    /// Both are borrowed.
    SegmentWatch(StreamRule& rule, const Clock& clock)
        : m_rule(rule)
        , m_clock(clock)
        , m_epoch(clock.steady()) {}

    /// Transfers are held from now on, or go on.
    void hold(bool held);
    bool isHeld() const { return m_heldSince.has_value(); }
    /// Takes a time out of the clock in which the transfer had to wait for its server.
    void leaveOut(Time time) { m_left += time; }
    /// The time of the rule's clock.
    Time now() const;
    /// That time, and the buffer.
    StreamRule::Moment moment(const PlaybackBuffer& buffer) const;

    /// A transfer begins. @param bytes  of the segment; 0 where they are not known yet
    void begin(int stream, uint64_t bytes, const PlaybackBuffer& buffer);
    /// When the transfer began, by the rule's clock.
    Time begunAt() const { return m_begun.moment.now; }
    /// @param received, expected  see Fetcher
    /// @return as StreamRule::progress()
    int progress(uint64_t received, uint64_t expected, const PlaybackBuffer& buffer);
    /// The segment is in the buffer.
    void end(const StreamRule::Arrived& arrived, const PlaybackBuffer& buffer);

private:
    struct Begun {
        int stream = 0;
        StreamRule::Moment moment;
        bool isTold = true;
    };

    void tell(uint64_t bytes);

    StreamRule& m_rule;
    const Clock& m_clock;
    const Clock::TimePoint m_epoch;
    Time m_left{0}; ///< all time that does not count
    std::optional<Clock::TimePoint> m_heldSince;
    Begun m_begun; ///< the rule is told when the size is known, which comes with the answer's head
};

} // namespace hastool
