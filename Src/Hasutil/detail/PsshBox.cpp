#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#define HAS_LOG_FUNCTION "psshBoxParsing"
#include <Hasutil/detail/PsshBox.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/BoxTypes.h>

#include <algorithm>
#include <cstring>

namespace hascommon::detail {

void PsshBox::write(unsigned char* out) const {
    storeU32(out, static_cast<unsigned int>(size()));
    storeU32(out + 4, kPssh);
    storeU32(out + 8, 0); // version and flags
    memset(out + kFullHeader, 0, kSystemId);
    memcpy(out + kFullHeader, systemId.data(), std::min(systemId.size(), kSystemId));
    storeU32(out + kPsshHead - 4, static_cast<unsigned int>(data.size()));
    memcpy(out + kPsshHead, data.data(), data.size());
}

int keepPssh(const BoxView& box, CENC_RECORDS& records) {
    ByteReader fields = box.from(kBoxHeader);
    ByteReader systemId;
    ByteReader data;
    unsigned int version = 0;
    unsigned int keyIds = 0;
    unsigned int size = 0;
    if (!fields.u8(version) || !fields.skip(3) || !fields.take(kSystemId, systemId))
        return -1;
    if (version != 0 && (!fields.u32(keyIds) || !fields.skip(keyIds * 16ULL)))
        return -1;
    if (!fields.u32(size) || !fields.take(size, data))
        return -1;
    HAS_LOG("psshBoxParsing-pBoxData");
    if (size != 0) {
        records.psshData.assign(reinterpret_cast<const char*>(data.here()), size);
        records.psshSystemId.assign(reinterpret_cast<const char*>(systemId.here()), kSystemId);
    }
    return static_cast<int>(fields.at());
}

} // namespace hascommon::detail
