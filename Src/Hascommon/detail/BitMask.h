// The masks of the bit reader and the bit builder.
#pragma once

namespace hascommon::detail {

/// The low `bits` bits set; 0 to 8.
constexpr unsigned int bitMask(int bits) {
    return (1U << bits) - 1U;
}

} // namespace hascommon::detail
