#include "BoxKind.h"

#include "FragmentFields.h"
#include "MovieFields.h"
#include "PiffFields.h"
#include "ProtectionFields.h"

namespace hastool {
namespace {

constexpr size_t kMaxTracks = 1000;

constexpr BoxKind kPlain{};
constexpr BoxKind kContainer{false, true, nullptr};

constexpr BoxKind fields(BoxKind::Read read) {
    return {true, false, read};
}

const std::map<std::string, BoxKind> kKinds = {
    {"moov", {false, true, readMovie}},
    {"trak", kContainer},
    {"mdia", kContainer},
    {"minf", kContainer},
    {"dinf", kContainer},
    {"stbl", kContainer},
    {"edts", kContainer},
    {"mvex", kContainer},
    {"moof", kContainer},
    {"mfra", kContainer},
    {"udta", kContainer},
    {"sinf", kContainer},
    {"schi", kContainer},
    {"traf", {false, true, readTrackFragment}},
    {"meta", {false, true, readMeta}},
    {"dref", {true, true, readEntryCount}},
    {"stsd", {true, true, readSampleEntries}},
    {"ftyp", {false, false, readBrands}},
    {"styp", {false, false, readBrands}},
    {"mvhd", fields(readTimes)},
    {"mdhd", fields(readTimes)},
    {"tkhd", fields(readTrackHeader)},
    {"hdlr", fields(readHandler)},
    {"elst", fields(readEntryCount)},
    {"stts", fields(readEntryCount)},
    {"ctts", fields(readEntryCount)},
    {"stsc", fields(readEntryCount)},
    {"stco", fields(readEntryCount)},
    {"co64", fields(readEntryCount)},
    {"stss", fields(readEntryCount)},
    {"stsz", fields(readSampleSizes)},
    {"vmhd", fields(nullptr)},
    {"smhd", fields(nullptr)},
    {"nmhd", fields(nullptr)},
    {"sthd", fields(nullptr)},
    {"url ", fields(nullptr)},
    {"trep", fields(nullptr)},
    {"sdtp", fields(nullptr)},
    {"trex", fields(readTrackDefaults)},
    {"mehd", fields(readFragmentDuration)},
    {"mfhd", fields(readFragmentHeader)},
    {"tfhd", fields(readTrackFragmentHeader)},
    {"tfdt", fields(readDecodeTime)},
    {"trun", fields(readRun)},
    {"tfra", fields(readRandomAccess)},
    {"mfro", fields(readRandomAccessSize)},
    {"sidx", fields(readIndex)},
    {"emsg", fields(readEvent)},
    {"frma", {false, false, readOriginalFormat}},
    {"schm", fields(readScheme)},
    {"tenc", fields(readTrackEncryption)},
    {"pssh", fields(readSystem)},
    {"saiz", fields(readInfoSizes)},
    {"saio", fields(readInfoOffsets)},
    {"senc", fields(readSampleEncryption)},
    {"sgpd", fields(readGroupDescriptions)},
    {"sbgp", fields(readSampleGroups)},
    {"uuid", {false, false, readExtendedType}},
};

BoxKind sampleEntryKind(const std::string& type, const std::string& handler) {
    if (type == "encv" || (type != "enca" && handler == "vide"))
        return {false, true, readVisualEntry};
    if (type == "enca" || handler == "soun")
        return {false, true, readAudioEntry};
    return {false, false, readOtherEntry};
}

} // namespace

BoxContext::Track& BoxContext::trackOf(uint64_t id) {
    if (tracks.size() >= kMaxTracks && tracks.count(id) == 0)
        return anyOther;
    return tracks[id];
}

BoxKind boxKind(const std::string& type, const std::string& parent, const BoxContext& context) {
    if (parent == "stsd")
        return sampleEntryKind(type, context.handler);
    const auto found = kKinds.find(type);
    return found != kKinds.end() ? found->second : kPlain;
}

} // namespace hastool
