#include "DashReading.h"

#include "DashTimeline.h"

#include <algorithm>
#include <cmath>

namespace hastool {

void DashReading::join(double time) {
    m_time = time;
    m_period = 0;
    m_hasBegun = false;
    m_isFirst = true;
    m_isJoined = true;
}

std::optional<DashSegment> DashReading::next(const DashPeriod& period, size_t number,
                                             const DashRepresentation& representation,
                                             const DashSegmentList& list,
                                             const DashWindow& window) const {
    if (number != m_period && m_hasBegun)
        return list.at(period.start, window);
    if (m_hasBegun && representation.id == m_representation)
        return list.behind(m_last, window);
    return list.at(std::max(m_time, period.start), window);
}

bool DashReading::isBehind(const DashPeriod& period) const {
    return !m_hasBegun && dashEndOf(period) <= m_time + kDashTolerance;
}

uint64_t DashReading::lostBefore(const DashFound& found, const DashPeriod& period) const {
    const DashSegment& segment = found.segment;
    const double expected = found.period == m_period ? m_time : std::min(m_time, period.start);
    const double behind = segment.start - expected;
    if (segment.seconds <= 0 || behind <= segment.seconds / 2)
        return 0;
    return static_cast<uint64_t>(std::llround(behind / segment.seconds));
}

void DashReading::moveBehind(const DashFound& found, const DashPeriod& period) {
    const double end = found.segment.start + dashLength(found.segment);
    m_time = found.period == m_period ? std::max(m_time, end) : end;
    m_period = found.period;
    m_periodId = period.id;
    m_periodStart = period.start;
    m_hasBegun = true;
    m_representation = found.representation->id;
    m_last = found.segment;
    m_isFirst = false;
}

void DashReading::findIn(const std::vector<DashPeriod>& periods) {
    const auto isSame = [&](const DashPeriod& it) {
        return it.id == m_periodId && std::abs(it.start - m_periodStart) < kDashTolerance;
    };
    const auto same = std::find_if(periods.begin(), periods.end(), isSame);
    m_hasBegun = m_hasBegun && same != periods.end();
    if (same != periods.end()) {
        m_period = static_cast<size_t>(same - periods.begin());
        return;
    }
    // The period is gone or has another name: the track goes on by time.
    const auto next = std::find_if(periods.begin(), periods.end(),
                                   [&](const DashPeriod& it) { return dashEndOf(it) > m_time; });
    const auto place = static_cast<size_t>(next - periods.begin());
    m_period = std::min(place, periods.size() - 1);
}

} // namespace hastool
