// The header of a box that lies in no other.
#pragma once

#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

/// With a size of 64 bits.
constexpr size_t kLongHeader = 16;

/// What a top-level header says. Only media data may have a size of 64
/// bits, or leave its size open.
struct TopHeader {
    unsigned int type = 0;
    /// Of the whole box; nothing is known of it where the box is open.
    unsigned long long size = 0;
    /// Bytes of the header itself, which no size may be below.
    size_t least = kBoxHeader;
    /// It goes on to the end, wherever that is.
    bool isOpen = false;

    bool isMedia() const;
    /// @return false when the header is not there whole
    bool read(ByteReader bytes);
};

} // namespace hascommon::detail
