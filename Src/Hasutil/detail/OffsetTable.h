// Boxes that are lists of offsets (ISO/IEC 14496-12, clauses 8.7.5 and 8.7.9).
#pragma once

#include <Hasutil/detail/BoxTypes.h>

namespace hascommon::detail {

/// The offsets of a box.
class OffsetTable {
public:
    /// Finds the entries of a `saio`.
    /// @return false for a box that does not hold what it announces, as with the next
    bool openSaio(const BoxView& saio);
    /// Finds the entries of a `stco` or a `co64`.
    bool openChunks(const BoxView& box);

    unsigned int count() const { return m_count; }
    /// Whether an entry has 64 bits.
    bool isLong() const { return m_isLong; }
    /// Bytes of the box up to the end of the last entry.
    unsigned long long end() const { return m_begin + m_entries.at() + m_entries.left(); }

    /// Reads the next entry. @return false behind the last
    bool next(unsigned long long& offset);
    /// Moves the offsets from `from` on, of those that next() has not read.
    /// @return false when a sum does not fit its entry; those before it have been written then
    bool move(unsigned long long from, long long by);

private:
    bool open(const BoxView& box, ByteReader fields);

    unsigned char* m_bytes = nullptr; // of the first entry
    size_t m_begin = 0;
    ByteReader m_entries;
    unsigned int m_count = 0;
    bool m_isLong = false;
};

/// Adds to an offset.
/// @return false for a sum below 0 or above 64 bits; the offset is untouched then
bool moveOffset(unsigned long long& offset, long long by);

/// Moves the chunk offsets and the auxiliary offsets in the sample tables of a `moov`. Those of a
/// track whose boxes do not fit one another stay as they are: nobody can read them.
/// @return as OffsetTable::move()
bool moveSampleTables(const BoxView& moov, unsigned long long from, long long by);

} // namespace hascommon::detail
