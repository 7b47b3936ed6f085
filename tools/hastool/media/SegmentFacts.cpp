#include "SegmentFacts.h"

#include "FragmentReader.h"
#include "PackedAudio.h"
#include "TransportReader.h"
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace hastool {
namespace {

bool beginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

/// Text without a byte order mark and blanks before it, its first part in lower case.
std::string beginOf(std::string_view media) {
    constexpr size_t kLooked = 256;
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (beginsWith(media, kMark))
        media.remove_prefix(kMark.size());
    const size_t begin = media.find_first_not_of(" \t\r\n");
    return begin == std::string_view::npos ? ""
                                           : lowered(std::string(media.substr(begin, kLooked)));
}

bool isTransportStream(std::string_view media) {
    constexpr size_t kLooked = 2048; // a stream may begin inside a packet
    const auto isSync = [media](size_t at) { return at >= media.size() || media[at] == 0x47; };
    if (media.size() < kTsPacketSize)
        return false;
    for (size_t at = 0; at < std::min(kLooked, media.size()); ++at) {
        for (const size_t stride : {size_t{kTsPacketSize}, size_t{kTsPacketSize + kTimecodeSize}}) {
            if (media[at] == 0x47 && isSync(at + stride) && isSync(at + 2 * stride) &&
                isSync(at + 3 * stride) && (at == 0 || at + 3 * stride < media.size()))
                return true;
        }
    }
    return false;
}

bool isBoxes(std::string_view media) {
    constexpr std::array<std::string_view, 14> kTypes = {"styp", "moof", "sidx", "ftyp", "moov",
                                                         "emsg", "prft", "mdat", "free", "skip",
                                                         "uuid", "ssix", "pdin", "wide"};
    constexpr size_t kTypeAt = 4;
    return media.size() >= 8 &&
           std::find(kTypes.begin(), kTypes.end(), media.substr(kTypeAt, 4)) != kTypes.end();
}

/// Whether bytes are spread as evenly as those of encrypted data. Codecs' streams are not: they
/// have headers, and compressed media alone is not what a segment begins with.
bool looksRandom(std::string_view media) {
    constexpr size_t kLooked = 16384;
    constexpr size_t kLeast = 4096; // with fewer, chance decides
    if (media.size() < kLeast)
        return false;
    media = media.substr(0, kLooked);
    std::array<double, 256> counts{};
    for (const char byte : media)
        ++counts[static_cast<unsigned char>(byte)];
    const double expected = static_cast<double>(media.size()) / 256;
    double sum = 0;
    for (const double count : counts)
        sum += (count - expected) * (count - expected) / expected;
    // The sum is spread around 255 with a deviation of about 22.6.
    return std::abs(sum - 255) < 6 * 22.6;
}

SegmentFacts::Kind kindOf(std::string_view media) {
    using Kind = SegmentFacts::Kind;
    if (media.empty())
        return Kind::Empty;
    if (isBoxes(media))
        return Kind::Fragments;
    const std::string begin = beginOf(media);
    if (beginsWith(begin, "<!doctype html") || beginsWith(begin, "<html"))
        return Kind::Html;
    if (beginsWith(begin, "webvtt") || beginsWith(begin, "<?xml") || beginsWith(begin, "<tt"))
        return Kind::Text;
    if (isTransportStream(media))
        return Kind::TransportStream;
    return isPackedAudio(media) ? Kind::PackedAudio : Kind::Unknown;
}

const char* troubleOf(SegmentFacts::Kind kind) {
    switch (kind) {
    case SegmentFacts::Kind::Empty:
        return "it is empty";
    case SegmentFacts::Kind::Html:
        return "it is an HTML page";
    case SegmentFacts::Kind::Unknown:
        return "it is neither a transport stream nor MP4, audio or subtitles";
    default:
        return "";
    }
}

} // namespace

const StreamFacts* SegmentFacts::stream(StreamFacts::Kind wanted) const {
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [wanted](const auto& it) { return it.kind == wanted; });
    return found == streams.end() ? nullptr : &*found;
}

const StreamFacts* SegmentFacts::leading() const {
    const StreamFacts* best = nullptr;
    for (const StreamFacts& it : streams) {
        if (it.seconds > 0 && (best == nullptr || it.kind < best->kind))
            best = &it;
    }
    return best;
}

SegmentFacts readSegmentFacts(std::string_view init, std::string_view media) {
    SegmentFacts facts;
    facts.bytes = media.size();
    facts.kind = kindOf(media);
    facts.trouble = troubleOf(facts.kind);
    switch (facts.kind) {
    case SegmentFacts::Kind::TransportStream:
        TransportReader::read(media, facts);
        break;
    case SegmentFacts::Kind::Fragments:
        FragmentReader::read(init, media, facts);
        break;
    case SegmentFacts::Kind::PackedAudio:
        readPackedAudio(media, facts);
        break;
    case SegmentFacts::Kind::Unknown:
        facts.looksRandom = looksRandom(media);
        break;
    default:
        break;
    }
    return facts;
}

} // namespace hastool
