// The media in a segment, learnt from what it adds to the buffer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace hascommon::detail {

/// The median of the last segments: one that is short, or was measured while the buffer did not
/// drain, changes nothing.
class SegmentLength {
public:
    /// The buffer at a moment before the segment is in.
    void See(unsigned int bufferMs, std::int64_t nowMs);
    /// The buffer with the segment in it. Since the moment that was seen last the buffer has
    /// drained, as far as it went.
    void Learn(unsigned int bufferMs, std::int64_t nowMs);
    /// Milliseconds; 0 before the first segment.
    std::int64_t Median() const { return m_median; }

private:
    void Add(std::int64_t ms);

    std::array<std::int64_t, 5> m_last{};
    std::size_t m_fill = 0;
    std::size_t m_next = 0;
    std::int64_t m_median = 0;
    std::int64_t m_seenBuffer = 0;
    std::int64_t m_seenTime = 0;
};

} // namespace hascommon::detail
