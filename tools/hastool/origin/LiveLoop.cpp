#include "LiveLoop.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

constexpr double kTolerance = 0.0005; // seconds; sums of rounded durations differ by less

} // namespace

LiveLoop::LiveLoop(std::vector<LoopSegment> segments, double seconds)
    : m_segments(std::move(segments))
    , m_seconds(seconds) {
    for (const LoopSegment& it : m_segments)
        m_longest = std::max(m_longest, it.seconds);
}

double LiveLoop::start(uint64_t number) const {
    return static_cast<double>(roundOf(number)) * m_seconds + at(number).start;
}

uint64_t LiveLoop::firstAfter(double time) const {
    if (time < 0)
        return 0;
    const auto rounds = static_cast<uint64_t>(std::floor(time / m_seconds));
    // The last segment may end a little behind the begin of the next round.
    uint64_t number = (rounds > 0 ? rounds - 1 : 0) * m_segments.size();
    while (end(number) <= time + kTolerance)
        ++number;
    return number;
}

bool LiveLoop::isBreak(uint64_t number) const {
    return at(number).discontinuity || (number > 0 && indexOf(number) == 0);
}

uint64_t LiveLoop::breaksBefore(uint64_t number) const {
    const auto inRound = static_cast<uint64_t>(
        std::count_if(m_segments.begin() + 1, m_segments.end(),
                      [](const LoopSegment& it) { return it.discontinuity; }));
    const uint64_t rounds = roundOf(number);
    uint64_t count = rounds * inRound + (rounds > 0 ? rounds - 1 : 0) +
                     (m_segments[0].discontinuity && rounds > 0 ? 1 : 0);
    for (uint64_t i = rounds * m_segments.size(); i < number; ++i)
        count += isBreak(i) ? 1 : 0;
    return count;
}

} // namespace hastool
