// A part of a resource.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hastool {

/// Bytes from an offset on: so many, or all.
struct ByteRange {
    uint64_t first = 0;
    std::optional<uint64_t> length;

    bool operator==(const ByteRange& other) const {
        return first == other.first && length == other.length;
    }
};

/// A whole resource or a part of it.
struct Resource {
    std::string url;
    std::optional<ByteRange> range;

    bool operator==(const Resource& other) const {
        return url == other.url && range == other.range;
    }
    bool operator!=(const Resource& other) const { return !(*this == other); }
};

/// The first and last offset joined by a hyphen, without the last where the end is open.
std::string rangeText(const ByteRange& range);

/// Reads "A-B" or "A-"; nothing when the text is neither or ends before it begins.
std::optional<ByteRange> parseRange(const std::string& text);

} // namespace hastool
