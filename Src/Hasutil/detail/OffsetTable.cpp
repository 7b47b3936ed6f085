#include <Hasutil/detail/OffsetTable.h>

#include <iterator>

namespace {

using namespace hascommon::detail;

/// What leads from a `moov` to its sample tables.
constexpr unsigned int kPath[] = {kTrak, kMdia, kMinf, kStbl};

bool moveTable(const BoxView& box, unsigned long long from, long long by) {
    OffsetTable table;
    switch (box.type()) {
    case kStco:
    case kCo64:
        return !findChunkOffsets(box, table) || moveOffsets(box, table, from, by);
    case kSaio:
        return !findSaioEntries(box, table) || moveOffsets(box, table, from, by);
    default:
        return true;
    }
}

bool moveTables(const BoxView& parent, size_t level, unsigned long long from, long long by) {
    BoxView child;
    for (size_t at = kBoxHeader; parent.child(at, child); at += child.size()) {
        bool fits = true;
        if (level == std::size(kPath))
            fits = moveTable(child, from, by);
        else if (child.type() == kPath[level])
            fits = moveTables(child, level + 1, from, by);
        if (!fits)
            return false;
    }
    return true;
}

} // namespace

namespace hascommon::detail {

bool findSaioEntries(const BoxView& saio, OffsetTable& found) {
    if (!saio.holds(0, 16))
        return false;
    found.at = (saio.u24(9) & kAuxType) != 0 ? 24 : 16;
    if (!saio.holds(0, found.at))
        return false;
    found.count = saio.u32(found.at - 4);
    found.width = saio.u8(8) == 0 ? 4 : 8;
    return saio.holds(found.at, 1ULL * found.count * found.width);
}

bool findChunkOffsets(const BoxView& box, OffsetTable& found) {
    if (!box.holds(0, 16))
        return false;
    found.at = 16;
    found.count = box.u32(12);
    found.width = box.type() == kStco ? 4 : 8;
    return box.holds(found.at, 1ULL * found.count * found.width);
}

bool moveOffsets(const BoxView& box, const OffsetTable& table, unsigned long long from,
                 long long by) {
    for (size_t i = 0; i < table.count; ++i) {
        const BoxView entry = table.entry(box, i);
        const bool isShort = table.width == 4;
        unsigned long long offset = isShort ? entry.u32(0) : entry.u64(0);
        if (offset < from)
            continue;
        if (!moveOffset(offset, by) || (isShort && offset > 0xFFFFFFFFU))
            return false;
        if (isShort)
            storeU32(entry.data(), static_cast<unsigned int>(offset));
        else
            storeU64(entry.data(), offset);
    }
    return true;
}

bool moveOffset(unsigned long long& offset, long long by) {
    const unsigned long long moved = offset + static_cast<unsigned long long>(by);
    if (by < 0 ? moved > offset : moved < offset)
        return false;
    offset = moved;
    return true;
}

bool moveSampleTables(const BoxView& moov, unsigned long long from, long long by) {
    return moveTables(moov, 0, from, by);
}

} // namespace hascommon::detail
