#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#include <Hasutil/detail/MovieBoxes.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/PsshBox.h>

namespace {

using namespace hascommon::detail;

constexpr size_t kVideoEntry = 86; // header and fields of a visual sample entry
constexpr size_t kAudioEntry = 36;
constexpr size_t kMaxTracks = 1000; // more than any file has

} // namespace

namespace hascommon::detail {

int MovieBoxes::read(unsigned int type, const BoxView& box) {
    switch (type) {
    case kMoov:
        return moovBoxParsing();
    case kTkhd:
        return tkhdBoxParsing(box);
    case kHdlr:
        return hdlrBoxParsing(box);
    case kStsd:
        return stsdBoxParsing(box);
    case kEncv:
        return sampleEntryParsing(box, kVideoEntry);
    case kEnca:
        return sampleEntryParsing(box, kAudioEntry);
    case kSinf:
        box.retype(kFree);
        return static_cast<int>(kBoxHeader);
    case kFrma:
        return frmaBoxParsing(box);
    case kTenc:
        return tencBoxParsing(box);
    case kPssh:
        return keepPssh(box, m_records.all());
    default:
        return -1;
    }
}

int MovieBoxes::moovBoxParsing() {
    HAS_LOG(">> moov box parsing");
    m_records.clearMovie();
    forgetSampleEntry();
    return static_cast<int>(kBoxHeader);
}

int MovieBoxes::tkhdBoxParsing(const BoxView& box) {
    ByteReader fields = box.from(kBoxHeader);
    unsigned int version = 0;
    TRACK_FORMAT track;
    if (m_records.all().tracks.size() >= kMaxTracks || !fields.u8(version) || version > 1)
        return -1;
    // Flags, and two times of 32 or of 64 bits.
    if (!fields.skip(version == 0 ? 11 : 19) || !fields.u32(track.trackId))
        return -1;
    m_records.add(track);
    return version == 0 ? 92 : 104;
}

int MovieBoxes::hdlrBoxParsing(const BoxView& box) {
    TRACK_FORMAT* const track = m_records.last();
    if (track == nullptr || !box.from(16).u32(track->handlerType))
        return -1;
    return consumed(box.size());
}

int MovieBoxes::stsdBoxParsing(const BoxView& box) {
    forgetSampleEntry();
    return box.size() >= 16 ? 16 : -1;
}

int MovieBoxes::sampleEntryParsing(const BoxView& box, size_t fields) {
    if (box.size() < fields)
        return -1;
    m_sampleEntry = box.data();
    return static_cast<int>(fields);
}

int MovieBoxes::frmaBoxParsing(const BoxView& box) {
    unsigned int format = 0;
    if (m_sampleEntry == nullptr || !box.from(kBoxHeader).u32(format))
        return -1;
    BoxView(m_sampleEntry, kBoxHeader).retype(format);
    return 12;
}

int MovieBoxes::tencBoxParsing(const BoxView& box) {
    TRACK_FORMAT* const track = m_records.last();
    ByteReader fields = box.from(kFullHeader);
    unsigned int isProtected = 0;
    unsigned int ivSize = 0;
    if (track == nullptr || !fields.u24(isProtected) || !fields.u8(ivSize) ||
        !fields.copy(track->defaultKid, sizeof track->defaultKid))
        return -1;
    track->defaultIsProtected = isProtected;
    track->perSampleIvSize = static_cast<unsigned char>(ivSize);
    track->encrypted = 1;
    return static_cast<int>(fields.at());
}

} // namespace hascommon::detail
