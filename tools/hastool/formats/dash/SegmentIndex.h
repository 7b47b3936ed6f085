// Segment indexes of MP4 files (ISO/IEC 14496-12, 8.16.3).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A sidx box: which bytes hold which time.
struct SegmentIndex {
    struct Entry {
        uint64_t offset = 0; ///< of its first byte in the file
        uint64_t size = 0;
        uint64_t time = 0;     ///< in units of the timescale
        uint64_t duration = 0; ///< in units of the timescale
    };

    uint64_t timescale = 1;
    std::vector<Entry> entries;

    /// @param bytes   a stretch of the file with the whole box in it
    /// @param offset  of the stretch in the file
    /// @param url     names the file in messages. @throws ToolError when there is no index, or one
    ///                that cannot be used
    static SegmentIndex parse(std::string_view bytes, uint64_t offset, const std::string& url);
};

} // namespace hastool
