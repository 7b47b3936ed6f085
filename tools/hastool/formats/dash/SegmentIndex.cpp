#include "SegmentIndex.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/ToolError.h>

#include <optional>

namespace hastool {
namespace {

constexpr uint64_t kMaxOffset = uint64_t{1} << 62; // far from where sums overflow

/// The fields before the entries.
struct Header {
    uint64_t timescale = 0;
    uint64_t time = 0;
    uint64_t firstOffset = 0;
    uint64_t count = 0;
};

std::optional<Header> readHeader(ByteReader& reader) {
    const auto version = reader.number(1);
    if (!version || !reader.skip(3 + 4)) // flags, reference_ID
        return std::nullopt;
    const size_t wide = *version == 0 ? 4 : 8;
    const auto timescale = reader.number(4);
    const auto time = reader.number(wide);
    const auto firstOffset = reader.number(wide);
    const bool hasReserved = reader.skip(2);
    const auto count = reader.number(2);
    if (!timescale || !time || !firstOffset || !hasReserved || !count || *timescale == 0 ||
        *time > kMaxOffset || *firstOffset > kMaxOffset)
        return std::nullopt;
    return Header{*timescale, *time, *firstOffset, *count};
}

} // namespace

SegmentIndex SegmentIndex::parse(std::string_view bytes, uint64_t offset, const std::string& url) {
    std::string_view rest = bytes;
    auto box = takeBox(rest);
    while (box && box->type != "sidx")
        box = takeBox(rest);
    if (!box)
        throw ToolError(url, "no segment index where the manifest says");
    ByteReader reader(box->content);
    const auto header = readHeader(reader);
    if (!header || offset > kMaxOffset)
        throw ToolError(url, "a segment index that cannot be read");
    SegmentIndex index;
    index.timescale = header->timescale;
    uint64_t time = header->time;
    // Offsets count from the first byte behind the box.
    uint64_t at = offset + (bytes.size() - rest.size()) + header->firstOffset;
    for (uint64_t i = 0; i < header->count; ++i) {
        const auto reference = reader.number(4);
        const auto duration = reader.number(4);
        if (!reference || !duration || !reader.skip(4))
            throw ToolError(url, "a segment index that is cut short");
        if ((*reference >> 31) != 0)
            throw ToolError(url, "a segment index of segment indexes is not supported");
        index.entries.push_back({at, *reference, time, *duration});
        at += *reference;
        time += *duration;
    }
    return index;
}

} // namespace hastool
