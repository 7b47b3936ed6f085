#include "InitTracks.h"

#include <hastool/base/BoxView.h>

namespace hastool {
namespace {

/// A 32-bit number of a box that has more of them before it in its second version.
uint32_t numberIn(const BoxView& box, size_t offset, size_t offsetInVersion1) {
    ByteReader reader(box.content);
    const bool isNew = reader.number(1).value_or(0) == 1;
    if (!reader.skip((isNew ? offsetInVersion1 : offset) - 1))
        return 0;
    return static_cast<uint32_t>(reader.number(4).value_or(0));
}

void readTrack(std::string_view trak, InitTracks& tracks) {
    const auto header = findBox(trak, "tkhd");
    const auto media = findBox(trak, "mdia");
    const auto mediaHeader = media ? findBox(media->content, "mdhd") : std::nullopt;
    if (!header || !mediaHeader)
        return;
    const uint32_t id = numberIn(*header, 12, 20);
    const uint32_t timescale = numberIn(*mediaHeader, 12, 20);
    if (id != 0 && timescale != 0)
        tracks[id].timescale = timescale;
}

void readDefaults(const BoxView& box, InitTracks& tracks) {
    ByteReader reader(box.content);
    uint32_t values[5] = {};
    if (!reader.skip(4))
        return;
    for (uint32_t& value : values)
        value = static_cast<uint32_t>(reader.number(4).value_or(0));
    const auto track = tracks.find(values[0]);
    if (track == tracks.end())
        return;
    track->second.duration = values[2];
    track->second.size = values[3];
    track->second.flags = values[4];
}

} // namespace

InitTracks readInitTracks(std::string_view init) {
    InitTracks tracks;
    const auto movie = findBox(init, "moov");
    if (!movie)
        return tracks;
    std::string_view rest = movie->content;
    while (const auto box = takeBox(rest)) {
        if (box->type == "trak")
            readTrack(box->content, tracks);
    }
    const auto extends = findBox(movie->content, "mvex");
    rest = extends ? extends->content : std::string_view();
    while (const auto box = takeBox(rest)) {
        if (box->type == "trex")
            readDefaults(*box, tracks);
    }
    return tracks;
}

} // namespace hastool
