#include "WvttReader.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace hastool {
namespace {

constexpr uint64_t kMaxSeconds = 10000000000; // so that ticks fit 64 bits
constexpr size_t kFullHeader = 4;             // version and flags

uint32_t number32(ByteReader& reader) {
    return static_cast<uint32_t>(reader.number(4).value_or(0));
}

/// The content of a box that lies in others, along their types.
std::optional<std::string_view> contentAt(std::string_view bytes,
                                          std::initializer_list<const char*> path) {
    for (const char* const type : path) {
        const auto box = findBox(bytes, type);
        if (!box)
            return std::nullopt;
        bytes = box->content;
    }
    return bytes;
}

/// The time scale of a track; 0 where there is none.
uint32_t timescaleOf(std::string_view track) {
    ByteReader reader(contentAt(track, {"mdia", "mdhd"}).value_or(""));
    const bool isLong = reader.number(1) == uint64_t{1};
    return reader.skip(3 + (isLong ? 16 : 8)) ? number32(reader) : 0;
}

uint32_t trackIdOf(std::string_view track) {
    ByteReader reader(contentAt(track, {"tkhd"}).value_or(""));
    const bool isLong = reader.number(1) == uint64_t{1};
    return reader.skip(3 + (isLong ? 16 : 8)) ? number32(reader) : 0;
}

/// The sample entry of a WebVTT track; nothing where the track has another kind.
std::optional<std::string_view> entryOf(std::string_view track) {
    const auto table = contentAt(track, {"mdia", "minf", "stbl", "stsd"});
    if (!table || table->size() < kFullHeader + 4)
        return std::nullopt;
    return contentAt(table->substr(kFullHeader + 4), {"wvtt"});
}

std::string textOf(std::string_view box) {
    return std::string(box);
}

} // namespace

/// What is known of a fragment while it is read.
struct WvttReader::Fragment {
    std::string_view bytes; ///< from its moof on
    std::string_view data;  ///< the next sample's, in the mdat
    uint64_t time = 0;      ///< of the next sample, in units of the time scale
    uint32_t duration = 0;
    uint32_t size = 0;
    size_t samples = 0; ///< so far, in the segment
    VttDocument document;
};

std::optional<WvttReader> WvttReader::open(std::string_view init) {
    const auto movie = contentAt(init, {"moov"});
    if (!movie)
        return std::nullopt;
    std::string_view rest = *movie;
    while (const auto box = takeBox(rest)) {
        const auto entry = box->type == "trak" ? entryOf(box->content) : std::nullopt;
        if (!entry)
            continue;
        WvttReader result;
        result.m_track = trackIdOf(box->content);
        result.m_timescale = timescaleOf(box->content);
        if (result.m_timescale == 0)
            return std::nullopt;
        constexpr size_t kEntryHeader = 8;
        const auto header =
            contentAt(entry->substr(std::min(kEntryHeader, entry->size())), {"vttC"});
        if (const auto document = parseWebVtt(std::string(header.value_or("")) + "\n"))
            result.m_blocks = document->blocks;
        ByteReader defaults(contentAt(*movie, {"mvex", "trex"}).value_or(""));
        if (defaults.skip(kFullHeader + 8)) {
            result.m_duration = number32(defaults);
            result.m_size = number32(defaults);
        }
        return result;
    }
    return std::nullopt;
}

std::optional<VttDocument> WvttReader::read(std::string_view media) const {
    Fragment fragment;
    fragment.document.blocks = m_blocks;
    bool hasFragment = false;
    while (!media.empty()) {
        const std::string_view here = media;
        const auto box = takeBox(media);
        if (!box)
            break;
        if (box->type != "moof")
            continue;
        hasFragment = true;
        fragment.bytes = here;
        fragment.data = contentAt(media, {"mdat"}).value_or("");
        std::string_view rest = box->content;
        while (const auto track = takeBox(rest)) {
            if (track->type == "traf" && !readTrack(track->content, fragment))
                return std::nullopt;
        }
    }
    if (!hasFragment)
        return std::nullopt;
    return std::move(fragment.document);
}

/// @return whether the boxes are whole; another track is passed over
bool WvttReader::readTrack(std::string_view track, Fragment& fragment) const {
    ByteReader header(contentAt(track, {"tfhd"}).value_or(""));
    const auto flags = header.number(4);
    const auto id = header.number(4);
    if (!flags || !id)
        return false;
    if (*id != m_track)
        return true;
    header.skip(((*flags & 1) != 0 ? 8 : 0) + ((*flags & 2) != 0 ? 4 : 0));
    fragment.duration = (*flags & 8) != 0 ? number32(header) : m_duration;
    fragment.size = (*flags & 0x10) != 0 ? number32(header) : m_size;
    ByteReader time(contentAt(track, {"tfdt"}).value_or(""));
    const bool isLong = time.number(1) == uint64_t{1};
    time.skip(3);
    fragment.time = time.number(isLong ? 8 : 4).value_or(fragment.time);
    while (const auto box = takeBox(track)) {
        if (box->type == "trun" && !readRun(box->content, fragment))
            return false;
    }
    return true;
}

bool WvttReader::readRun(std::string_view run, Fragment& fragment) const {
    ByteReader reader(run);
    const auto flags = reader.number(4);
    const auto count = reader.number(4);
    if (!flags || !count)
        return false;
    if ((*flags & 1) != 0) {
        const uint32_t offset = number32(reader);
        if (offset > 0 && offset <= fragment.bytes.size())
            fragment.data = fragment.bytes.substr(offset);
    }
    if ((*flags & 4) != 0)
        reader.skip(4);
    for (uint64_t i = 0; i < *count && fragment.samples < kMaxSamples; ++i, ++fragment.samples) {
        const auto duration = (*flags & 0x100) != 0 ? reader.number(4) : fragment.duration;
        const auto size = (*flags & 0x200) != 0 ? reader.number(4) : fragment.size;
        const bool isWhole =
            reader.skip(((*flags & 0x400) != 0 ? 4 : 0) + ((*flags & 0x800) != 0 ? 4 : 0));
        if (!duration || !size || !isWhole || *size > fragment.data.size())
            return false;
        const auto start = ticks(fragment.time);
        const auto end = ticks(fragment.time + *duration);
        if (!start || !end)
            return false;
        readSample(fragment.data.substr(0, static_cast<size_t>(*size)), *start, *end,
                   fragment.document);
        fragment.data.remove_prefix(static_cast<size_t>(*size));
        fragment.time += *duration;
    }
    return true;
}

void WvttReader::readSample(std::string_view sample, int64_t start, int64_t end,
                            VttDocument& document) const {
    while (const auto box = takeBox(sample)) {
        if (box->type != "vttc")
            continue;
        VttCue cue;
        cue.start = start;
        cue.end = end;
        cue.id = textOf(contentAt(box->content, {"iden"}).value_or(""));
        cue.settings = textOf(contentAt(box->content, {"sttg"}).value_or(""));
        cue.text = textOf(contentAt(box->content, {"payl"}).value_or(""));
        cue = cleanCue(std::move(cue));
        if (cue.id.size() + cue.settings.size() + cue.text.size() > kMaxCueBytes || end <= start)
            ++document.dropped;
        else
            document.cues.push_back(std::move(cue));
    }
}

/// Nothing for a time beyond all media.
std::optional<int64_t> WvttReader::ticks(uint64_t time) const {
    const uint64_t seconds = time / m_timescale;
    if (seconds > kMaxSeconds)
        return std::nullopt;
    return static_cast<int64_t>(seconds) * kCueClock +
           static_cast<int64_t>(time % m_timescale * uint64_t{kCueClock} / m_timescale);
}

} // namespace hastool
