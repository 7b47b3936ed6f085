#include <Hasnet/detail/SegmentLength.h>

#include <Hasnet/detail/TimeSpan.h>

#include <algorithm>

namespace hascommon::detail {

void SegmentLength::See(unsigned int bufferMs, std::int64_t nowMs) {
    m_seenBuffer = bufferMs;
    m_seenTime = nowMs;
}

void SegmentLength::Learn(unsigned int bufferMs, std::int64_t nowMs) {
    const std::uint64_t passed = millisecondsBetween(m_seenTime, nowMs);
    const bool isEmptied = passed >= static_cast<std::uint64_t>(m_seenBuffer);
    const std::int64_t kept = isEmptied ? 0 : m_seenBuffer - static_cast<std::int64_t>(passed);
    if (bufferMs > kept)
        Add(bufferMs - kept);
}

void SegmentLength::Add(std::int64_t ms) {
    m_last[m_next] = ms;
    m_next = (m_next + 1) % m_last.size();
    m_fill = std::min(m_fill + 1, m_last.size());
    auto sorted = m_last;
    const auto end = sorted.begin() + static_cast<std::ptrdiff_t>(m_fill);
    std::sort(sorted.begin(), end);
    m_median = sorted[(m_fill - 1) / 2]; // of two the shorter: a long one is the likelier mistake
}

} // namespace hascommon::detail
