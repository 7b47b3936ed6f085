#include "FragmentShift.h"

#include <hastool/base/BoxView.h>

#include <cmath>

namespace hastool {
namespace {

void put(std::string& bytes, size_t offset, size_t size, uint64_t value) {
    for (size_t i = size; i-- > 0; value >>= 8)
        bytes[offset + i] = static_cast<char>(value & 0xFF);
}

/// Moves one track fragment.
void shiftTrack(std::string& segment, std::string_view traf, const InitTracks& tracks,
                double seconds) {
    const auto header = findBox(traf, "tfhd");
    const auto time = findBox(traf, "tfdt");
    ByteReader id(header ? header->content : std::string_view());
    id.skip(4);
    const auto track = tracks.find(static_cast<uint32_t>(id.number(4).value_or(0)));
    if (!time || track == tracks.end())
        return;
    ByteReader reader(time->content);
    const size_t size = reader.number(1).value_or(0) == 1 ? 8 : 4;
    reader.skip(3);
    const size_t at = static_cast<size_t>(reader.rest().data() - segment.data());
    if (const auto value = reader.number(size))
        put(segment, at, size,
            *value + static_cast<uint64_t>(std::llround(seconds * track->second.timescale)));
}

void shiftFragment(std::string& segment, std::string_view moof, const InitTracks& tracks,
                   double seconds, uint32_t sequence) {
    while (const auto box = takeBox(moof)) {
        if (box->type == "mfhd" && box->content.size() >= 8)
            put(segment, static_cast<size_t>(box->content.data() - segment.data()) + 4, 4,
                sequence);
        else if (box->type == "traf")
            shiftTrack(segment, box->content, tracks, seconds);
    }
}

} // namespace

void shiftFragments(std::string& segment, const InitTracks& tracks, double seconds,
                    uint32_t sequence) {
    std::string_view rest = segment;
    while (const auto box = takeBox(rest)) {
        if (box->type == "sidx")
            segment.replace(static_cast<size_t>(box->type.data() - segment.data()), 4, "free");
        else if (box->type == "moof")
            shiftFragment(segment, box->content, tracks, seconds, sequence++);
    }
}

} // namespace hastool
