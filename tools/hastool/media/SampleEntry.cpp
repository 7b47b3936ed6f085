#include "SampleEntry.h"

#include "CodecText.h"
#include "HexText.h"
#include "SequenceSet.h"

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

constexpr size_t kVisualFields = 78; // of a sample entry, before its boxes
constexpr size_t kAudioFields = 28;
constexpr size_t kAudioFieldsMore[] = {0, 16, 36}; // by the entry's version, in older files
constexpr size_t kKeyIdSize = 16;
constexpr std::string_view kOldTrackEncryption("\x89\x74\xDB\xCE\x7B\xE7\x4C\x51"
                                               "\x84\xF9\x71\x48\xF9\x88\x25\x54",
                                               16);

void readVisual(std::string_view content, InitTrackFacts& track) {
    ByteReader reader(content);
    if (!reader.skip(24))
        return;
    track.entryWidth = static_cast<int>(reader.number(2).value_or(0));
    track.entryHeight = static_cast<int>(reader.number(2).value_or(0));
}

void readAudio(std::string_view content, InitTrackFacts& track) {
    ByteReader reader(content);
    if (!reader.skip(16))
        return;
    track.channels = static_cast<int>(reader.number(2).value_or(0));
    reader.skip(6);
    track.sampleRate = static_cast<int>(reader.number(2).value_or(0)); // of 16.16
}

/// The boxes inside the entry.
std::string_view boxesOf(std::string_view content, StreamFacts::Kind kind) {
    size_t fields = 8;
    if (kind == StreamFacts::Kind::Video) {
        fields = kVisualFields;
    } else if (kind == StreamFacts::Kind::Audio) {
        ByteReader reader(content);
        const uint64_t version = reader.skip(8) ? reader.number(2).value_or(0) : 0;
        fields = kAudioFields + kAudioFieldsMore[version < 3 ? version : 0];
    }
    return content.substr(std::min(fields, content.size()));
}

void readTrackEncryption(std::string_view boxes, InitTrackFacts& track) {
    while (const auto box = takeBox(boxes)) {
        ByteReader reader(box->content);
        const bool isOld = box->type == "uuid" && reader.bytes(16) == kOldTrackEncryption;
        if ((box->type != "tenc" && !isOld) || !reader.skip(8))
            continue;
        if (const auto id = reader.bytes(kKeyIdSize)) {
            track.hasKeyId = true;
            track.keyId = hexText(Bytes(id->begin(), id->end()));
        }
    }
}

void readProtection(std::string_view sinf, InitTrackFacts& track) {
    if (const auto box = findBox(sinf, "frma"))
        track.format = std::string(box->content.substr(0, 4));
    if (const auto box = findBox(sinf, "schm")) {
        ByteReader reader(box->content);
        reader.skip(4);
        track.scheme = std::string(reader.bytes(4).value_or(""));
    }
    if (const auto box = findBox(sinf, "schi"))
        readTrackEncryption(box->content, track);
}

void readAvc(std::string_view avcC, InitTrackFacts& track) {
    ByteReader reader(avcC);
    if (!reader.skip(4))
        return;
    track.lengthSize = static_cast<unsigned>(reader.number(1).value_or(0) & 3) + 1;
    const uint64_t sets = reader.number(1).value_or(0) & 0x1F;
    const auto set = reader.bytes(static_cast<size_t>(reader.number(2).value_or(0)));
    if (sets > 0 && set)
        describe(Bytes(set->begin(), set->end()), track.format, track);
}

void readHevc(std::string_view hvcC, InitTrackFacts& track) {
    constexpr size_t kLengthAt = 21;
    track.codec = hevcCodec(track.format, hvcC);
    ByteReader reader(hvcC);
    if (reader.skip(kLengthAt))
        track.lengthSize = static_cast<unsigned>(reader.number(1).value_or(0) & 3) + 1;
}

void readMpeg4(std::string_view esds, InitTrackFacts& track) {
    const Mpeg4Audio audio = readMpeg4Audio(esds);
    track.codec = audio.codec;
    track.sampleRate = audio.sampleRate > 0 ? audio.sampleRate : track.sampleRate;
    track.channels = audio.channels > 0 ? audio.channels : track.channels;
}

void readConfiguration(const BoxView& box, InitTrackFacts& track) {
    if (box.type == "avcC")
        readAvc(box.content, track);
    else if (box.type == "hvcC")
        readHevc(box.content, track);
    else if (box.type == "esds" && track.kind == StreamFacts::Kind::Audio)
        readMpeg4(box.content, track);
    else if (box.type == "av1C")
        track.codec = av1Codec(box.content);
    else if (box.type == "vpcC" && track.format == "vp09")
        track.codec = vp9Codec(box.content);
}

/// Entries whose type alone is the codec.
bool isPlainCodec(std::string_view format) {
    constexpr std::string_view kPlain[] = {"ac-3", "ec-3", "wvtt", "fLaC", "Opus"};
    return std::find(std::begin(kPlain), std::end(kPlain), format) != std::end(kPlain);
}

} // namespace

void readSampleEntry(const BoxView& entry, InitTrackFacts& track) {
    track.hasEntry = true;
    track.format = std::string(entry.type);
    const std::string_view boxes = boxesOf(entry.content, track.kind);
    constexpr std::string_view kEncrypted[] = {"encv", "enca", "enct", "encs", "encm"};
    track.isProtected =
        std::find(std::begin(kEncrypted), std::end(kEncrypted), entry.type) != std::end(kEncrypted);
    if (const auto sinf = findBox(boxes, "sinf"))
        readProtection(sinf->content, track);
    if (track.kind == StreamFacts::Kind::Video)
        readVisual(entry.content, track);
    else if (track.kind == StreamFacts::Kind::Audio)
        readAudio(entry.content, track);
    if (isPlainCodec(track.format))
        track.codec = track.format;
    std::string_view rest = boxes;
    while (const auto box = takeBox(rest))
        readConfiguration(*box, track);
}

} // namespace hastool
