// Boxes that are lists of offsets (ISO/IEC 14496-12, clauses 8.7.5 and 8.7.9).
#pragma once

#include <Hasutil/detail/BoxTypes.h>

namespace hascommon::detail {

/// Where a box has its offsets.
struct OffsetTable {
    size_t at = 0;
    unsigned int count = 0;
    /// Bytes of each, 4 or 8.
    unsigned int width = 0;

    BoxView entry(const BoxView& box, size_t index) const {
        return {box.data() + at + index * width, width};
    }
};

/// The entries of a `saio`.
/// @return false for a box that does not hold what it announces, as with the next
bool findSaioEntries(const BoxView& saio, OffsetTable& found);
/// The entries of a `stco` or a `co64`.
bool findChunkOffsets(const BoxView& box, OffsetTable& found);

/// Moves the offsets from `from` on.
/// @return false when a sum does not fit its entry; those before it have been written then
bool moveOffsets(const BoxView& box, const OffsetTable& table, unsigned long long from,
                 long long by);

/// Adds to an offset.
/// @return false for a sum below 0 or above 64 bits; the offset is untouched then
bool moveOffset(unsigned long long& offset, long long by);

/// Moves the chunk offsets and the auxiliary offsets in the sample tables of a `moov`. Those of a
/// track whose boxes do not fit one another stay as they are: nobody can read them.
/// @return as moveOffsets()
bool moveSampleTables(const BoxView& moov, unsigned long long from, long long by);

} // namespace hascommon::detail
