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
        return !table.openChunks(box) || table.move(from, by);
    case kSaio:
        return !table.openSaio(box) || table.move(from, by);
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

bool OffsetTable::openSaio(const BoxView& saio) {
    ByteReader fields = saio.from(kBoxHeader);
    unsigned int version = 0;
    unsigned int flags = 0;
    if (!fields.u8(version) || !fields.u24(flags))
        return false;
    m_isLong = version != 0;
    return fields.skip((flags & kAuxType) != 0 ? 8 : 0) && open(saio, fields);
}

bool OffsetTable::openChunks(const BoxView& box) {
    m_isLong = box.type() == kCo64;
    return open(box, box.from(kFullHeader));
}

/// @param fields  stands at the count
bool OffsetTable::open(const BoxView& box, ByteReader fields) {
    if (!fields.u32(m_count))
        return false;
    m_begin = fields.at();
    m_bytes = box.data() + m_begin;
    return fields.take((m_isLong ? 8ULL : 4ULL) * m_count, m_entries);
}

bool OffsetTable::next(unsigned long long& offset) {
    if (m_isLong)
        return m_entries.u64(offset);
    unsigned int low = 0;
    if (!m_entries.u32(low))
        return false;
    offset = low;
    return true;
}

bool OffsetTable::move(unsigned long long from, long long by) {
    unsigned char* place = m_bytes + m_entries.at();
    unsigned long long offset = 0;
    for (; next(offset); place = m_bytes + m_entries.at()) {
        if (offset < from)
            continue;
        if (!moveOffset(offset, by) || (!m_isLong && offset > 0xFFFFFFFFU))
            return false;
        if (m_isLong)
            storeU64(place, offset);
        else
            storeU32(place, static_cast<unsigned int>(offset));
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
