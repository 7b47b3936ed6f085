#include "PackedAudio.h"

#include "AdtsFrames.h"
#include <hastool/base/BoxView.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kTagHeader = 10;
constexpr std::string_view kTimeOwner = "com.apple.streaming.transportStreamTimestamp";
constexpr uint64_t kTimeMask = (uint64_t{1} << 33) - 1;

unsigned at(std::string_view bytes, size_t place) {
    return static_cast<unsigned char>(bytes[place]);
}

/// The size of the ID3 tag that a text begins with; 0 without one, more than the text has when the
/// tag is cut.
size_t tagSize(std::string_view media) {
    if (media.size() < kTagHeader || media.substr(0, 3) != "ID3")
        return 0;
    size_t size = 0;
    for (size_t i = 6; i < kTagHeader; ++i)
        size = size << 7 | (at(media, i) & 0x7F);
    return kTagHeader + size;
}

std::string_view withoutTags(std::string_view media) {
    while (const size_t size = tagSize(media))
        media.remove_prefix(std::min(size, media.size()));
    return media;
}

/// The time behind its owner in a private frame.
std::optional<double> timeOf(std::string_view media) {
    const std::string_view tag = media.substr(0, tagSize(media));
    const size_t owner = tag.find(kTimeOwner);
    if (owner == std::string_view::npos)
        return std::nullopt;
    ByteReader reader(tag.substr(owner + kTimeOwner.size()));
    if (reader.number(1) != uint64_t{0})
        return std::nullopt;
    const auto time = reader.number(8);
    return time ? std::optional(static_cast<double>(*time & kTimeMask) / 90000) : std::nullopt;
}

bool isAdts(std::string_view media) {
    return media.size() >= 7 && at(media, 0) == 0xFF && (at(media, 1) & 0xF6) == 0xF0;
}

bool isMpegAudio(std::string_view media) {
    return media.size() >= 4 && at(media, 0) == 0xFF && (at(media, 1) & 0xE0) == 0xE0 &&
           (at(media, 1) & 0x06) != 0 && (at(media, 2) & 0xF0) != 0xF0;
}

bool isAc3(std::string_view media) {
    return media.size() >= 6 && at(media, 0) == 0x0B && at(media, 1) == 0x77;
}

} // namespace

bool isPackedAudio(std::string_view media) {
    const std::string_view frames = withoutTags(media);
    return frames.size() < media.size() || isAdts(frames) || isMpegAudio(frames) || isAc3(frames);
}

void readPackedAudio(std::string_view media, SegmentFacts& facts) {
    StreamFacts stream;
    stream.kind = StreamFacts::Kind::Audio;
    stream.start = timeOf(media);
    const std::string_view frames = withoutTags(media);
    if (isAdts(frames)) {
        AdtsFrames adts;
        adts.push(reinterpret_cast<const unsigned char*>(frames.data()), frames.size());
        stream.codec = adts.codec();
        stream.sampleRate = adts.sampleRate();
        stream.channels = adts.channels();
        stream.frames = adts.frames();
        stream.seconds = adts.seconds();
        if (stream.frames > 0)
            stream.frameSeconds = stream.seconds / static_cast<double>(stream.frames);
    }
    facts.streams.push_back(std::move(stream));
}

} // namespace hastool
