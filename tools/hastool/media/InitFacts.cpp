#include "InitFacts.h"

#include "SampleEntry.h"
#include <hastool/base/BoxView.h>

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

constexpr size_t kMostTracks = 100;
constexpr size_t kMostProtections = 100;
constexpr size_t kMostBrands = 50;

/// A number of a box that has more of them before it in its second version.
uint32_t numberIn(const BoxView& box, size_t offset, size_t offsetInVersion1) {
    ByteReader reader(box.content);
    const bool isNew = reader.number(1).value_or(0) == 1;
    if (!reader.skip((isNew ? offsetInVersion1 : offset) - 1))
        return 0;
    return static_cast<uint32_t>(reader.number(4).value_or(0));
}

StreamFacts::Kind kindOf(std::string_view handler) {
    if (handler == "vide")
        return StreamFacts::Kind::Video;
    if (handler == "soun")
        return StreamFacts::Kind::Audio;
    return handler == "text" || handler == "subt" || handler == "sbtl" ? StreamFacts::Kind::Text
                                                                       : StreamFacts::Kind::Other;
}

std::string_view contentOf(std::string_view bytes, std::string_view type) {
    const auto box = findBox(bytes, type);
    return box ? box->content : std::string_view();
}

/// The media time of the first edit that shows media, in the units of the media.
uint64_t editStart(std::string_view trak) {
    ByteReader reader(contentOf(contentOf(trak, "edts"), "elst"));
    const bool isLong = reader.number(1) == uint64_t{1};
    const size_t size = isLong ? 8 : 4;
    reader.skip(3);
    const uint64_t count = reader.number(4).value_or(0);
    const uint64_t isEmpty = isLong ? UINT64_MAX : UINT32_MAX;
    for (uint64_t i = 0; i < count; ++i) {
        if (!reader.skip(size))
            return 0;
        const auto time = reader.number(size);
        if (!time || !reader.skip(4))
            return 0;
        if (*time != isEmpty)
            return *time;
    }
    return 0;
}

void readTrack(std::string_view trak, InitFacts& facts) {
    const auto header = findBox(trak, "tkhd");
    const std::string_view media = contentOf(trak, "mdia");
    const auto mediaHeader = findBox(media, "mdhd");
    if (!header || !mediaHeader || facts.tracks.size() >= kMostTracks)
        return;
    InitTrackFacts track;
    track.id = numberIn(*header, 12, 20);
    track.timescale = numberIn(*mediaHeader, 12, 20);
    ByteReader handler(contentOf(media, "hdlr"));
    handler.skip(8);
    track.kind = kindOf(handler.bytes(4).value_or(""));
    if (track.timescale > 0)
        track.editStart = static_cast<double>(editStart(trak)) / track.timescale;
    std::string_view table = contentOf(contentOf(contentOf(media, "minf"), "stbl"), "stsd");
    table.remove_prefix(std::min<size_t>(8, table.size()));
    if (const auto entry = takeBox(table))
        readSampleEntry(*entry, track);
    facts.tracks.push_back(std::move(track));
}

void readDefaults(std::string_view mvex, InitFacts& facts) {
    while (const auto box = takeBox(mvex)) {
        ByteReader reader(box->content);
        if (box->type != "trex" || !reader.skip(4))
            continue;
        const auto id = reader.number(4);
        for (InitTrackFacts& it : facts.tracks)
            it.hasDefaults = it.hasDefaults || id == uint64_t{it.id};
    }
}

void readBrands(std::string_view ftyp, InitFacts& facts) {
    ByteReader reader(ftyp);
    for (size_t i = 0; facts.brands.size() < kMostBrands; ++i) {
        const auto brand = reader.bytes(4);
        if (!brand)
            return;
        if (i != 1) // there stands a number
            facts.brands.emplace_back(*brand);
    }
}

void readMovie(std::string_view moov, InitFacts& facts) {
    std::string_view rest = moov;
    while (const auto box = takeBox(rest)) {
        if (box->type == "trak")
            readTrack(box->content, facts);
        else if (box->type == "pssh" && facts.protections.size() < kMostProtections)
            facts.protections.emplace_back(box->whole);
    }
    if (!rest.empty())
        facts.trouble = "a box in moov reaches beyond it";
    if (const auto mvex = findBox(moov, "mvex")) {
        facts.isFragmented = true;
        readDefaults(mvex->content, facts);
    }
}

} // namespace

const InitTrackFacts* InitFacts::track(uint32_t id) const {
    const auto found =
        std::find_if(tracks.begin(), tracks.end(), [id](const auto& it) { return it.id == id; });
    return found == tracks.end() ? nullptr : &*found;
}

InitFacts readInitFacts(std::string_view init) {
    InitFacts facts;
    if (init.empty()) {
        facts.trouble = "it is empty";
        return facts;
    }
    facts.isTransportStream = init[0] == 0x47;
    if (facts.isTransportStream)
        return facts;
    if (const auto type = findBox(init, "ftyp"))
        readBrands(type->content, facts);
    const auto movie = findBox(init, "moov");
    if (!movie) {
        facts.trouble = "it has no whole moov";
        return facts;
    }
    readMovie(movie->content, facts);
    if (facts.trouble.empty() && facts.tracks.empty())
        facts.trouble = "its moov has no track that can be read";
    return facts;
}

} // namespace hastool
