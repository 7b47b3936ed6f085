// The segments of an on-demand stream, repeated for ever.
#pragma once

#include <hastool/net/ByteRange.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace hastool {

/// One segment of an on-demand stream.
struct LoopSegment {
    std::filesystem::path file;
    std::optional<ByteRange> range;
    double start = 0; ///< seconds since the stream's begin
    double seconds = 0;
    uint64_t sequence = 0; ///< its number in the on-demand stream
    bool discontinuity = false;
    bool gap = false;
};

/// Counts the segments of a stream that begins anew whenever it ends. Numbers are from 0, times in
/// seconds since the live stream began.
class LiveLoop {
public:
    /// @param segments  at least one, in order of their times
    /// @param seconds   after which the stream begins anew, the same for all streams of a
    ///                  presentation; above 0
    LiveLoop(std::vector<LoopSegment> segments, double seconds);

    const LoopSegment& at(uint64_t number) const { return m_segments[indexOf(number)]; }
    /// The place of a segment among those of the on-demand stream.
    size_t indexOf(uint64_t number) const {
        return static_cast<size_t>(number % m_segments.size());
    }
    /// How often the stream had begun anew before a segment.
    uint64_t roundOf(uint64_t number) const { return number / m_segments.size(); }
    double start(uint64_t number) const;
    double end(uint64_t number) const { return start(number) + at(number).seconds; }
    /// The first segment that has not ended by a time.
    uint64_t firstAfter(double time) const;
    /// Whether the media before a segment does not go on in it.
    bool isBreak(uint64_t number) const;
    /// How many of the segments before a number are breaks.
    uint64_t breaksBefore(uint64_t number) const;

    size_t size() const { return m_segments.size(); }
    double seconds() const { return m_seconds; }
    /// Of the longest segment.
    double longest() const { return m_longest; }

private:
    std::vector<LoopSegment> m_segments;
    double m_seconds;
    double m_longest = 0;
};

} // namespace hastool
