#include "SmoothInit.h"

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/BoxView.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace hastool {
namespace {

constexpr unsigned kMatrix[] = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};
constexpr size_t kMaxParameterSet = 0xFFFF;
constexpr unsigned kNalSps = 7;
constexpr unsigned kNalPps = 8;

/// Units of a byte stream (ITU-T H.264, annex B).
std::vector<std::string_view> splitUnits(std::string_view stream) {
    constexpr std::string_view kStartCode("\0\0\1", 3);
    std::vector<std::string_view> units;
    size_t at = stream.find(kStartCode);
    while (at != std::string_view::npos) {
        at += kStartCode.size();
        const size_t next = stream.find(kStartCode, at);
        std::string_view unit =
            stream.substr(at, next == std::string_view::npos ? next : next - at);
        while (!unit.empty() && unit.back() == '\0')
            unit.remove_suffix(1);
        if (!unit.empty() && unit.size() <= kMaxParameterSet)
            units.push_back(unit);
        at = next;
    }
    return units;
}

std::vector<std::string_view> unitsOf(std::string_view stream, unsigned type) {
    std::vector<std::string_view> units = splitUnits(stream);
    const auto isOther = [&](std::string_view unit) {
        return (static_cast<unsigned char>(unit.front()) & 0x1Fu) != type;
    };
    units.erase(std::remove_if(units.begin(), units.end(), isOther), units.end());
    return units;
}

/// The decoder configuration; empty when the parameter sets are not there.
std::string makeAvcC(const std::string& codecPrivateData) {
    const auto sps = unitsOf(codecPrivateData, kNalSps);
    const auto pps = unitsOf(codecPrivateData, kNalPps);
    if (sps.empty() || pps.empty() || sps.front().size() < 4)
        return {};
    BoxBuilder content;
    content.u8(1).bytes(sps.front().substr(1, 3)); // profile, compatibility, level
    content.u8(0xFF);                              // lengths of four bytes
    content.u8(0xE1).u16(static_cast<uint32_t>(sps.front().size())).bytes(sps.front());
    content.u8(1).u16(static_cast<uint32_t>(pps.front().size())).bytes(pps.front());
    return content.box("avcC");
}

std::string makeVideoEntry(const SmoothQuality& quality) {
    const std::string configuration = makeAvcC(quality.codecPrivateData);
    if (configuration.empty())
        return {};
    BoxBuilder entry;
    entry.zeros(6).u16(1).zeros(16);
    entry.u16(static_cast<uint32_t>(quality.width)).u16(static_cast<uint32_t>(quality.height));
    entry.u32(0x480000).u32(0x480000).u32(0).u16(1).zeros(32).u16(24).u16(0xFFFF);
    return entry.bytes(configuration).box("avc1");
}

/// The decoder configuration of AAC (ISO/IEC 14496-3, 1.6.2.1) where the manifest gives none: that
/// of the low complexity profile.
std::string makeAudioConfig(const SmoothQuality& quality) {
    static const unsigned kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                      22050, 16000, 12000, 11025, 8000,  7350};
    const auto* const rate = std::find(std::begin(kRates), std::end(kRates), quality.samplingRate);
    if (rate == std::end(kRates) || quality.channels == 0 || quality.channels > 7)
        return {};
    const auto index = static_cast<unsigned>(rate - std::begin(kRates));
    return BoxBuilder().u16(2u << 11 | index << 7 | quality.channels << 3).text();
}

std::string makeEsds(const std::string& config, int bitrate) {
    const auto size = static_cast<uint32_t>(config.size());
    BoxBuilder decoder; // ISO/IEC 14496-1, 7.2.6.6
    decoder.u8(0x40).u8(0x15).zeros(3);
    decoder.u32(static_cast<uint32_t>(bitrate)).u32(static_cast<uint32_t>(bitrate));
    decoder.u8(5).u8(size).bytes(config);
    BoxBuilder stream;
    stream.u16(0)
        .u8(0)
        .u8(4)
        .u8(static_cast<uint32_t>(decoder.text().size()))
        .bytes(decoder.text());
    stream.u8(6).u8(1).u8(2);
    BoxBuilder content;
    content.u8(3).u8(static_cast<uint32_t>(stream.text().size())).bytes(stream.text());
    return content.fullBox("esds");
}

std::string makeAudioEntry(const SmoothQuality& quality) {
    constexpr size_t kMaxConfig = 64; // so that the lengths of the descriptors around it fit a byte
    const std::string config =
        quality.codecPrivateData.empty() ? makeAudioConfig(quality) : quality.codecPrivateData;
    if (config.empty() || config.size() > kMaxConfig)
        return {};
    BoxBuilder entry;
    entry.zeros(6).u16(1).zeros(8);
    entry.u16(std::max(quality.channels, 1u)).u16(16).u32(0);
    entry.u32(std::min(quality.samplingRate, 0xFFFFu) << 16);
    return entry.bytes(makeEsds(config, quality.bitrate)).box("mp4a");
}

/// TTML documents as samples (ISO/IEC 14496-30, 5.3).
std::string makeTextEntry() {
    BoxBuilder entry;
    entry.zeros(6).u16(1).bytes("http://www.w3.org/ns/ttml").zeros(3); // no schema, no other types
    return entry.box("stpp");
}

std::string makeSampleEntry(const SmoothQuality& quality) {
    const std::string codec = lowered(quality.fourCC);
    if (codec == "h264" || codec == "avc1" || codec == "davc")
        return makeVideoEntry(quality);
    if (codec == "aacl" || codec == "aach" || codec == "mp4a")
        return makeAudioEntry(quality);
    if (codec == "ttml" || codec == "dfxp")
        return makeTextEntry();
    return {};
}

std::string makeSampleTable(const std::string& entry) {
    BoxBuilder table;
    table.bytes(BoxBuilder().u32(1).bytes(entry).fullBox("stsd"));
    for (const char* const type : {"stts", "stsc", "stco"})
        table.bytes(BoxBuilder().u32(0).fullBox(type));
    return table.bytes(BoxBuilder().u32(0).u32(0).fullBox("stsz")).box("stbl");
}

std::string makeMedia(const SmoothStream& stream, const std::string& entry) {
    const bool isVideo = stream.type == "video";
    const bool isText = stream.type == "text";
    const auto timescale = static_cast<uint32_t>(stream.timescale);
    const std::string header = isVideo  ? BoxBuilder().zeros(8).fullBox("vmhd", 0, 1)
                               : isText ? BoxBuilder().fullBox("sthd")
                                        : BoxBuilder().zeros(4).fullBox("smhd");
    const char* const handler = isVideo ? "vide" : isText ? "subt" : "soun";
    const std::string reference =
        BoxBuilder().u32(1).bytes(BoxBuilder().fullBox("url ", 0, 1)).fullBox("dref");
    BoxBuilder info;
    info.bytes(header).bytes(BoxBuilder().bytes(reference).box("dinf"));
    info.bytes(makeSampleTable(entry));
    BoxBuilder media;
    media.bytes(BoxBuilder().zeros(8).u32(timescale).u32(0).u16(0x55C4).u16(0).fullBox("mdhd"));
    media.bytes(BoxBuilder().u32(0).bytes(handler).zeros(12 + 1).fullBox("hdlr"));
    return media.bytes(info.box("minf")).box("mdia");
}

std::string makeTrackHeader(const SmoothQuality& quality, bool isVideo, uint32_t track) {
    BoxBuilder header;
    header.zeros(8).u32(track).u32(0).u32(0).zeros(8).u16(0).u16(0);
    header.u16(isVideo ? 0 : 0x100).u16(0);
    for (const unsigned value : kMatrix)
        header.u32(value);
    header.u32(static_cast<uint32_t>(quality.width) << 16);
    header.u32(static_cast<uint32_t>(quality.height) << 16);
    return header.fullBox("tkhd", 0, 7);
}

std::string makeMovieHeader(uint32_t timescale, uint32_t track) {
    BoxBuilder header;
    header.zeros(8).u32(timescale).u32(0).u32(0x10000).u16(0x100).zeros(10);
    for (const unsigned value : kMatrix)
        header.u32(value);
    return header.zeros(24).u32(track + 1).fullBox("mvhd");
}

} // namespace

std::string makeSmoothInit(const SmoothStream& stream, const SmoothQuality& quality,
                           uint32_t track) {
    const std::string entry = makeSampleEntry(quality);
    if (entry.empty() || stream.timescale > UINT32_MAX)
        return {};
    BoxBuilder brands;
    brands.bytes("iso6").u32(1).bytes("iso6").bytes("mp41");
    BoxBuilder trackBox;
    trackBox.bytes(makeTrackHeader(quality, stream.type == "video", track));
    trackBox.bytes(makeMedia(stream, entry));
    const std::string defaults = BoxBuilder().u32(track).u32(1).zeros(12).fullBox("trex");
    BoxBuilder movie;
    movie.bytes(makeMovieHeader(static_cast<uint32_t>(stream.timescale), track));
    movie.bytes(trackBox.box("trak"));
    movie.bytes(BoxBuilder().bytes(defaults).box("mvex"));
    return brands.box("ftyp") + movie.box("moov");
}

uint32_t trackOfFragment(std::string_view fragment) {
    auto box = findBox(fragment, "moof");
    for (const char* const type : {"traf", "tfhd"}) {
        if (box)
            box = findBox(box->content, type);
    }
    if (!box)
        return 1;
    ByteReader reader(box->content);
    const bool hasFlags = reader.skip(4);
    return static_cast<uint32_t>((hasFlags ? reader.number(4) : std::nullopt).value_or(1));
}

} // namespace hastool
