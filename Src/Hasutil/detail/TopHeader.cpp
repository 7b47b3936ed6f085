#include <Hasutil/detail/TopHeader.h>

#include <Hasutil/detail/BoxTypes.h>

namespace hascommon::detail {

bool TopHeader::isMedia() const {
    return type == kMdat;
}

bool TopHeader::read(ByteReader bytes) {
    unsigned int shortSize = 0;
    if (!bytes.u32(shortSize) || !bytes.u32(type))
        return false;
    size = shortSize;
    isOpen = isMedia() && shortSize == 0;
    if (!isMedia() || shortSize != 1)
        return true;
    least = kLongHeader;
    return bytes.u64(size);
}

} // namespace hascommon::detail
