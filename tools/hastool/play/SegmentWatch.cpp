#include "SegmentWatch.h"

namespace hastool {
namespace {

using std::chrono::duration_cast;

/// For so long the answer's head is waited for, which tells a segment's size. It is less than any
/// rule waits before it gives a transfer up.
constexpr std::chrono::milliseconds kSizeAwaited{300};

} // namespace

void SegmentWatch::hold(bool held) {
    if (held == isHeld())
        return;
    if (held) {
        m_heldSince = m_clock.steady();
        return;
    }
    const Time time = duration_cast<Time>(m_clock.steady() - *m_heldSince);
    m_heldSince.reset();
    m_left += time;
    m_rule.held(time);
}

SegmentWatch::Time SegmentWatch::now() const {
    return duration_cast<Time>(m_heldSince.value_or(m_clock.steady()) - m_epoch) - m_left;
}

StreamRule::Moment SegmentWatch::moment(const PlaybackBuffer& buffer) const {
    return {now(), buffer.level()};
}

void SegmentWatch::begin(int stream, uint64_t bytes, const PlaybackBuffer& buffer) {
    m_begun = {stream, moment(buffer), false};
    if (bytes > 0)
        tell(bytes);
}

void SegmentWatch::tell(uint64_t bytes) {
    if (m_begun.isTold)
        return;
    m_begun.isTold = true;
    m_rule.begun(m_begun.stream, bytes, m_begun.moment);
}

int SegmentWatch::progress(uint64_t received, uint64_t expected, const PlaybackBuffer& buffer) {
    if (isHeld())
        return StreamRule::kStay;
    if (expected > 0 || now() - begunAt() >= kSizeAwaited)
        tell(expected);
    return m_begun.isTold ? m_rule.progress(received, moment(buffer)) : StreamRule::kStay;
}

void SegmentWatch::end(const StreamRule::Arrived& arrived, const PlaybackBuffer& buffer) {
    tell(arrived.bytes);
    m_rule.done(arrived, moment(buffer));
}

} // namespace hastool
