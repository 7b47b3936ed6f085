// A part of a resource.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hastool {

/// Bytes from an offset on.
struct ByteRange {
    uint64_t first = 0;
    std::optional<uint64_t> length; ///< nothing: up to the end

    bool operator==(const ByteRange& other) const {
        return first == other.first && length == other.length;
    }
};

/// A whole resource or a part of it.
struct Resource {
    std::string url;
    std::optional<ByteRange> range;
    bool isHeld = false; ///< the server may hold its answer until there is one

    bool operator==(const Resource& other) const {
        return url == other.url && range == other.range;
    }
    bool operator!=(const Resource& other) const { return !(*this == other); }
};

/// "A-B", the first and the last offset; "A-" where the range has no length.
std::string rangeText(const ByteRange& range);

/// Reads "A-B" or "A-"; nothing for other text, and where B is below A.
std::optional<ByteRange> parseRange(const std::string& text);

} // namespace hastool
