#include <Hasutil/detail/PsshBox.h>

#include <Hasutil/detail/BoxTypes.h>

#include <algorithm>
#include <cstring>

namespace hascommon::detail {

void PsshBox::write(unsigned char* out) const {
    storeU32(out, static_cast<unsigned int>(size()));
    storeU32(out + 4, kPssh);
    storeU32(out + 8, 0); // version and flags
    memset(out + kSystemIdAt, 0, kSystemId);
    memcpy(out + kSystemIdAt, systemId.data(), std::min(systemId.size(), kSystemId));
    storeU32(out + 28, static_cast<unsigned int>(data.size()));
    memcpy(out + kPsshHead, data.data(), data.size());
}

bool findPsshData(const BoxView& box, PsshData& found) {
    if (!box.holds(0, kPsshHead))
        return false;
    unsigned long long sizeAt = 28;
    if (box.u8(8) != 0) { // a count and that many key ids
        sizeAt += 4 + box.u32(28) * 16ULL;
        if (!box.holds(sizeAt, 4))
            return false;
    }
    found.at = static_cast<size_t>(sizeAt) + 4;
    found.size = box.u32(found.at - 4);
    return box.holds(found.at, found.size);
}

} // namespace hascommon::detail
