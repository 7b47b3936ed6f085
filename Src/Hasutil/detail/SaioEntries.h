// The offsets of a `saio` box (ISO/IEC 14496-12, clause 8.7.9).
#pragma once

#include <Hasutil/detail/BoxTypes.h>

namespace hascommon::detail {

/// Where a `saio` has its entries.
struct SaioEntries {
    size_t at = 0;
    unsigned int count = 0;
    /// Bytes of each: 4 in version 0, else 8.
    unsigned int width = 0;

    BoxView entry(const BoxView& saio, size_t index) const {
        return {saio.data() + at + index * width, width};
    }
};

/// @return false for a box that does not hold what it announces
inline bool findSaioEntries(const BoxView& saio, SaioEntries& found) {
    if (!saio.holds(0, 16))
        return false;
    found.at = (saio.u24(9) & kAuxType) != 0 ? 24 : 16;
    if (!saio.holds(0, found.at))
        return false;
    found.count = saio.u32(found.at - 4);
    found.width = saio.u8(8) == 0 ? 4 : 8;
    return saio.holds(found.at, 1ULL * found.count * found.width);
}

} // namespace hascommon::detail
