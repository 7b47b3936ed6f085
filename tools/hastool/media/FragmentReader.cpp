#include "FragmentReader.h"

#include "HexText.h"
#include "PictureHead.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kMostTracks = 100;
constexpr size_t kMostProtections = 100;
constexpr size_t kMostKeyIds = 100;
constexpr size_t kMostData = 100000;       // boxes: a fragment for each picture of an hour
constexpr uint64_t kMostSamples = 2000000; // some hours of audio
constexpr uint32_t kNonSync = 0x10000;     // of a sample's flags
constexpr size_t kKeyIdSize = 16;
constexpr std::string_view kOldSampleEncryption("\xA2\x39\x4F\x52\x5A\x9B\x4F\x14"
                                                "\xA2\x44\x6C\x42\x7C\x64\x8D\xF4",
                                                16);

std::string atByte(uint64_t place) {
    return " at byte " + std::to_string(place);
}

/// The time in a fragment of Smooth Streaming ([MS-SSTR], 2.2.4.4).
std::optional<uint64_t> smoothTimeOf(std::string_view uuid) {
    constexpr std::string_view kType("\x6D\x1D\x9B\x05\x42\xD5\x44\xE6"
                                     "\x80\xE2\x14\x1D\xAF\xF7\x57\xB2",
                                     16);
    ByteReader reader(uuid);
    if (reader.bytes(kType.size()) != kType)
        return std::nullopt;
    const size_t size = reader.number(1) == uint64_t{1} ? 8 : 4;
    reader.skip(3);
    return reader.number(size);
}

/// The key ids in descriptions of sample groups (ISO/IEC 23001-7, 6).
void readGroupKeys(std::string_view sgpd, std::vector<std::string>& ids) {
    ByteReader reader(sgpd);
    const auto version = reader.number(1);
    reader.skip(3);
    if (reader.bytes(4) != "seig" || version < uint64_t{1})
        return;
    const uint64_t length = reader.number(4).value_or(0);
    if (version > uint64_t{1})
        reader.skip(4);
    const uint64_t count = reader.number(4).value_or(0);
    for (uint64_t i = 0; i < count && ids.size() < kMostKeyIds; ++i) {
        const auto size = length == 0 ? reader.number(4) : std::optional(length);
        const auto entry = size ? reader.bytes(static_cast<size_t>(*size)) : std::nullopt;
        if (!entry || entry->size() < 4 + kKeyIdSize)
            return;
        const std::string_view id = entry->substr(4, kKeyIdSize);
        if ((*entry)[2] != 0)
            ids.push_back(hexText(Bytes(id.begin(), id.end())));
    }
}

} // namespace

void FragmentReader::read(std::string_view init, std::string_view media, SegmentFacts& facts) {
    const bool hasOwn = init.empty() && findBox(media, "moov");
    FragmentReader reader(hasOwn ? media : init, media, facts);
    reader.readBoxes();
}

FragmentReader::FragmentReader(std::string_view init, std::string_view media, SegmentFacts& facts)
    : m_media(media)
    , m_segment(facts)
    , m_facts(facts.boxes)
    , m_init(readInitFacts(init))
    , m_tracks(readInitTracks(init)) {}

void FragmentReader::readBoxes() {
    std::string_view rest = m_media;
    while (const auto box = takeBox(rest)) {
        readBox(*box);
        if (m_facts.index && m_media.size() - rest.size() == m_indexed)
            m_facts.index->endsAtBox = true;
    }
    if (!rest.empty())
        breakOff("the box" + atByte(m_media.size() - rest.size()) +
                 " reaches beyond the segment's end");
    checkPlaces();
}

void FragmentReader::readBox(const BoxView& box) {
    const auto place = static_cast<uint64_t>(box.whole.data() - m_media.data());
    const uint64_t end = place + box.whole.size();
    if (box.type == "styp")
        m_facts.hasType = true;
    else if (box.type == "moov")
        m_facts.hasMovie = true;
    else if (box.type == "sidx" && !m_facts.index)
        readIndex(box.content, end);
    else if (box.type == "mdat" && m_data.size() < kMostData)
        m_data.emplace_back(end - box.content.size(), end);
    else if (box.type == "moof")
        readFragment(box);
}

void FragmentReader::breakOff(std::string why) {
    if (m_facts.broken.empty())
        m_facts.broken = std::move(why);
}

void FragmentReader::readFragment(const BoxView& moof) {
    ++m_facts.fragments;
    m_moof = static_cast<uint64_t>(moof.whole.data() - m_media.data());
    std::string_view rest = moof.content;
    bool hasHeader = false;
    uint64_t base = m_moof;
    while (const auto box = takeBox(rest)) {
        if (box->type == "mfhd") {
            hasHeader = true;
            readSequence(box->content);
        } else if (box->type == "pssh" && m_facts.protections.size() < kMostProtections) {
            m_facts.protections.emplace_back(box->whole);
        } else if (box->type == "traf") {
            readTrackBoxes(box->content);
            readRun(*box, base);
        }
    }
    if (!rest.empty())
        breakOff("a box in the moof" + atByte(m_moof) + " reaches beyond it");
    if (!hasHeader)
        breakOff("the moof" + atByte(m_moof) + " has no mfhd");
}

void FragmentReader::readSequence(std::string_view mfhd) {
    ByteReader reader(mfhd);
    reader.skip(4);
    const auto number = static_cast<uint32_t>(reader.number(4).value_or(0));
    if (!m_facts.sequence.empty() && number <= m_facts.sequence.back())
        ++m_facts.sequenceBreaks;
    if (m_facts.sequence.size() < BoxFacts::kMaxSequence)
        m_facts.sequence.push_back(number);
}

/// Looks at the boxes of a track fragment that say nothing of samples' places.
void FragmentReader::readTrackBoxes(std::string_view traf) {
    const auto header = findBox(traf, "tfhd");
    if (!header) {
        breakOff("a traf in the moof" + atByte(m_moof) + " has no tfhd");
        return;
    }
    ByteReader reader(header->content);
    reader.skip(4);
    const auto id = static_cast<uint32_t>(reader.number(4).value_or(0));
    if (m_facts.tracks.size() >= kMostTracks && m_facts.tracks.count(id) == 0)
        return;
    TrackFacts& track = m_facts.tracks[id];
    ++track.fragments;
    const auto known = m_tracks.find(id);
    track.isInInit = known != m_tracks.end();
    track.timescale = track.isInInit ? known->second.timescale : 0;
    while (const auto box = takeBox(traf)) {
        const bool isOld =
            box->type == "uuid" && box->content.substr(0, 16) == kOldSampleEncryption;
        if (box->type == "senc" || box->type == "saiz" || isOld)
            track.hasEncryptionBoxes = true;
        if (box->type == "uuid" && !track.smoothTime)
            track.smoothTime = smoothTimeOf(box->content);
        if (box->type == "sgpd")
            readGroupKeys(box->content, track.groupKeyIds);
    }
    if (!traf.empty())
        breakOff("a box in a traf of the moof" + atByte(m_moof) + " reaches beyond it");
}

/// Reads a track fragment, each by itself: what it lists needs far more memory than its bytes.
void FragmentReader::readRun(const BoxView& traf, uint64_t& base) {
    if (m_samples >= kMostSamples) {
        breakOff("it lists more than " + std::to_string(kMostSamples) + " samples");
        return;
    }
    const auto runs = readFragmentRuns(traf.whole, m_tracks);
    if (!runs.empty()) {
        m_samples += runs[0].samples.size();
        takeRun(runs[0], base);
        return;
    }
    m_samples += kMaxFragmentSamples; // as many may have been read
    ByteReader id(findBox(traf.content, "tfhd").value_or(BoxView()).content);
    id.skip(4);
    if (m_tracks.count(static_cast<uint32_t>(id.number(4).value_or(0))) > 0)
        breakOff("a traf in the moof" + atByte(m_moof) + " is cut short");
}

void FragmentReader::takeRun(const FragmentRun& run, uint64_t& base) {
    const auto found = m_facts.tracks.find(run.track);
    if (found == m_facts.tracks.end())
        return;
    TrackFacts& track = found->second;
    const bool isFirst = track.samples == 0 && !track.hasDecodeTime;
    if (isFirst) {
        track.hasDecodeTime = run.hasDecodeTime;
        track.decodeTime = run.decodeTime;
        track.isFirstSync = !run.samples.empty() && (run.samples[0].flags & kNonSync) == 0;
    } else if (run.hasDecodeTime && run.decodeTime != track.decodeTime + track.duration) {
        ++track.breaks;
    }
    const size_t pieces = m_pieces.size();
    placePieces(run, base);
    if (isFirst && m_pieces.size() > pieces)
        readFirstSample(run, m_pieces[pieces].first, track.isFirstSync);
    takeSamples(run, track);
}

StreamFacts& FragmentReader::streamOf(uint32_t track) {
    auto& streams = m_segment.streams;
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [track](const auto& it) { return it.id == track; });
    if (found != streams.end())
        return *found;
    StreamFacts stream;
    if (const InitTrackFacts* const known = m_init.track(track))
        stream = *known;
    stream.id = track;
    streams.push_back(std::move(stream));
    return streams.back();
}

void FragmentReader::takeSamples(const FragmentRun& run, TrackFacts& track) {
    StreamFacts& stream = streamOf(run.track);
    const double scale = track.timescale > 0 ? track.timescale : 1;
    const double begin = static_cast<double>(run.decodeTime);
    uint64_t time = 0;
    for (const FragmentSample& it : run.samples) {
        const double shown =
            (begin + static_cast<double>(time) + static_cast<int32_t>(it.offset)) / scale;
        if (run.hasDecodeTime)
            stream.start = std::min(stream.start.value_or(shown), shown);
        time += it.duration;
        track.bytes += it.size;
        stream.keyFrames += (it.flags & kNonSync) == 0 ? 1 : 0;
    }
    track.samples += run.samples.size();
    track.duration += time;
    if (track.hasDecodeTime)
        stream.decodeStart = static_cast<double>(track.decodeTime) / scale;
    stream.frames = track.samples;
    stream.seconds = static_cast<double>(track.duration) / scale;
    if (stream.frames > 0)
        stream.frameSeconds = stream.seconds / static_cast<double>(stream.frames);
    if (stream.kind == StreamFacts::Kind::Video && !stream.beginsWithKey && stream.frames > 0)
        stream.beginsWithKey = track.isFirstSync;
}

/// Looks at the units of a track's first sample, where they are in the clear.
void FragmentReader::readFirstSample(const FragmentRun& run, uint64_t at, bool isMarked) {
    const InitTrackFacts* const track = m_init.track(run.track);
    if (track == nullptr || track->kind != StreamFacts::Kind::Video || track->isProtected ||
        track->lengthSize == 0 || run.samples.empty() || at >= m_media.size())
        return;
    const bool isAvc = track->format.compare(0, 3, "avc") == 0;
    const std::string_view sample = m_media.substr(static_cast<size_t>(at), run.samples[0].size);
    const auto isKey =
        isKeySample(sample, track->lengthSize, isAvc ? NalCoding::Avc : NalCoding::Hevc, isMarked);
    if (isKey)
        streamOf(run.track).beginsWithKey = isKey;
}

/// Notes where the samples of a track fragment lie. @param base  what offsets count from where the
/// fragment does not say; receives the end of its samples
void FragmentReader::placePieces(const FragmentRun& run, uint64_t& base) {
    if (run.base)
        return; // counts from the begin of a file of which this is a part
    const uint64_t from = run.isMoofBase ? m_moof : base;
    uint64_t at = from;
    for (size_t i = 0; i < run.pieces.size(); ++i) {
        const size_t begin = run.pieces[i].firstSample;
        const size_t end =
            i + 1 < run.pieces.size() ? run.pieces[i + 1].firstSample : run.samples.size();
        if (const auto offset = run.pieces[i].offset)
            at = from + static_cast<uint64_t>(*offset); // a place before the moof wraps around
        uint64_t size = 0;
        for (size_t sample = begin; sample < end; ++sample)
            size += run.samples[sample].size;
        if (size > 0)
            m_pieces.emplace_back(at, size);
        at += size;
    }
    base = at;
}

void FragmentReader::checkPlaces() {
    if (m_data.size() >= kMostData)
        return;
    for (const auto& [at, size] : m_pieces) {
        auto data = std::upper_bound(m_data.begin(), m_data.end(), Range(at, UINT64_MAX));
        const bool isInside =
            data != m_data.begin() && at <= (--data)->second && size <= data->second - at;
        if (isInside)
            continue;
        m_facts.outside = at > m_media.size() ? "samples lie outside of the segment"
                                              : std::to_string(size) + " bytes of samples" +
                                                    atByte(at) + " are not in an mdat";
        return;
    }
}

void FragmentReader::readIndex(std::string_view sidx, uint64_t end) {
    ByteReader reader(sidx);
    const size_t wide = reader.number(1).value_or(0) == 0 ? 4 : 8;
    reader.skip(3);
    IndexFacts index;
    index.trackId = reader.number(4).value_or(0);
    const uint64_t scale = reader.number(4).value_or(0);
    const auto earliest = reader.number(wide);
    const auto skipped = reader.number(wide);
    reader.skip(2);
    const auto count = reader.number(2);
    if (scale == 0 || !earliest || !skipped || !count) {
        breakOff("the sidx is cut short");
        return;
    }
    index.earliest = static_cast<double>(*earliest) / static_cast<double>(scale);
    uint64_t duration = 0;
    for (uint64_t i = 0; i < *count; ++i) {
        const auto size = reader.number(4);
        const auto length = reader.number(4);
        const auto access = reader.number(4);
        if (!size || !length || !access) {
            breakOff("the sidx is cut short");
            return;
        }
        index.leadsToIndex = index.leadsToIndex || (*size >> 31) != 0;
        index.bytes += *size & 0x7FFFFFFF;
        duration += *length;
    }
    index.references = static_cast<size_t>(*count);
    index.seconds = static_cast<double>(duration) / static_cast<double>(scale);
    m_indexed = *skipped > m_media.size() ? UINT64_MAX : end + *skipped + index.bytes;
    m_facts.index = index;
}

} // namespace hastool
