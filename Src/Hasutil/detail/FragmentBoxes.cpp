#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#include <Hasutil/detail/FragmentBoxes.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/AuxiliaryData.h>
#include <Hasutil/detail/OffsetTable.h>

namespace {

using namespace hascommon::detail;

/// Tracks of a fragment; more than any file has.
constexpr size_t kMaxMoofTracks = 1000;

/// Reads what a `tfhd` has behind the track id, by its flags.
/// @return false when the box does not hold what they announce
bool readTrackDefaults(ByteReader& fields, MOOF_TRACK_FORMAT& track) {
    const auto read = [&](unsigned int flag, unsigned int& field) {
        return (track.flags & flag) == 0 || fields.u32(field);
    };
    return ((track.flags & kTfhdBaseOffset) == 0 || fields.u64(track.baseDataOffset)) &&
           read(kTfhdDescription, track.sampleDescriptionIndex) &&
           read(kTfhdDuration, track.defaultSampleDuration) &&
           read(kTfhdSize, track.defaultSampleSize) && read(kTfhdFlags, track.defaultSampleFlags);
}

/// Bytes that each sample takes in a `trun`.
unsigned int sampleFieldBytes(unsigned int flags) {
    unsigned int bytes = 0;
    for (const unsigned int field : {kTrunDuration, kTrunSize, kTrunFlags, kTrunTime})
        bytes += (flags & field) != 0 ? 4 : 0;
    return bytes;
}

} // namespace

namespace hascommon::detail {

int FragmentBoxes::read(unsigned int type, const BoxView& box) {
    switch (type) {
    case kTfhd:
        return tfhdBoxParsing(box);
    case kTrun:
        return trunBoxParsing(box);
    case kSaiz:
        return saizBoxParsing(box);
    case kSaio:
        return saioBoxParsing(box);
    case kSenc:
        return sencBoxParsing(box);
    default:
        return -1;
    }
}

int FragmentBoxes::tfhdBoxParsing(const BoxView& box) {
    ByteReader fields = box.from(kFullHeader);
    MOOF_TRACK_FORMAT track;
    track.flags = box.flags();
    if (!fields.u32(track.trackId) || m_records.all().moofTracks.size() >= kMaxMoofTracks)
        return -1;
    HAS_LOG("#TFHD# nFlag: %d", static_cast<int>(track.flags));
    if (!readTrackDefaults(fields, track))
        return -1;
    if (m_records.find(track.trackId) != nullptr)
        m_records.add(track);
    else
        m_records.leaveCurrent(); // nothing of this `traf` is kept
    return static_cast<int>(fields.at());
}

int FragmentBoxes::trunBoxParsing(const BoxView& box) {
    ByteReader fields = box.from(kFullHeader);
    const unsigned int flags = box.flags();
    const bool hasOffset = (flags & kTrunDataOffset) != 0;
    unsigned int count = 0;
    unsigned int offset = 0;
    ByteReader samples;
    if (!fields.u32(count) || (hasOffset && !fields.u32(offset)) ||
        !fields.skip((flags & kTrunFirstFlags) != 0 ? 4 : 0))
        return -1;
    const unsigned int each = sampleFieldBytes(flags);
    if (!fields.take(1ULL * each * count, samples) || !spend(m_budget, count) ||
        !m_records.countImplied(each == 0 ? count : 0))
        return -1;
    if (hasOffset) {
        HAS_LOG(" [*] \tBaseOffset : %d", static_cast<int>(offset));
        if (m_records.current() != nullptr)
            m_records.current()->dataOffset = static_cast<int>(offset);
    }
    readSamples(samples, flags, count);
    return consumed(fields.at());
}

/// Appends the samples of a run to the current track, when there is one.
/// @param fields  as many as the flags announce for each sample
void FragmentBoxes::readSamples(ByteReader fields, unsigned int flags, unsigned int count) {
    MOOF_TRACK_FORMAT* const track = m_records.current();
    unsigned int total = 0;
    SAMPLE_FORMAT sample;
    sample.size = track != nullptr ? track->defaultSampleSize : 0;
    if (track != nullptr)
        makeRoom(track->samples, count);
    for (unsigned int i = 0; i < count; ++i) {
        fields.skip((flags & kTrunDuration) != 0 ? 4 : 0);
        if ((flags & kTrunSize) != 0 && fields.u32(sample.size))
            HAS_LOG("#TRUN#, uSampleSize: %d", static_cast<int>(sample.size));
        unsigned int sampleFlags = 0;
        if ((flags & kTrunFlags) != 0 && fields.u32(sampleFlags))
            HAS_LOG("#TRUN#, uSampleFlag: %d", static_cast<int>(sampleFlags));
        fields.skip((flags & kTrunTime) != 0 ? 4 : 0);
        total += sample.size;
        if (track != nullptr)
            track->samples.push_back(sample);
    }
    HAS_LOG(" [*] \t total sample size : %d", static_cast<int>(total));
    HAS_LOG(" [*] \t total sample count : %d", static_cast<int>(count));
    if (track == nullptr)
        return;
    track->sampleCount += count;
    track->runSampleCounts.push_back(count);
}

int FragmentBoxes::saizBoxParsing(const BoxView& box) {
    MOOF_TRACK_FORMAT* const track = m_records.current();
    ByteReader fields = box.from(kFullHeader);
    unsigned int size = 0;
    unsigned int count = 0;
    if (track == nullptr || !fields.skip((box.flags() & kAuxType) != 0 ? 8 : 0) ||
        !fields.u8(size) || !fields.u32(count))
        return -1;
    box.retype(kFree);
    ByteReader sizes;
    if (count != track->sampleCount || !fields.take(size == 0 ? count : 0, sizes) ||
        !spend(m_budget, track->samples.size()))
        return -1;
    for (SAMPLE_FORMAT& sample : track->samples) {
        sizes.u8(size); // unless one size, read before, stands for all
        sample.auxSize = static_cast<unsigned char>(size);
    }
    if (track->auxResolved != MOOF_TRACK_FORMAT::AUX_RESOLVED)
        track->auxResolved = MOOF_TRACK_FORMAT::AUX_UNRESOLVED;
    return consumed(fields.at());
}

int FragmentBoxes::saioBoxParsing(const BoxView& box) {
    MOOF_TRACK_FORMAT* const track = m_records.current();
    OffsetTable table;
    if (track == nullptr || !table.openSaio(box))
        return -1;
    track->saioCount = table.count();
    track->saioOffsets.clear();
    for (unsigned long long offset = 0; table.next(offset);) {
        const auto low = static_cast<unsigned int>(offset);
        track->saioOffsets.push_back(low);
        if (table.isLong())
            track->saioOffsets.push_back(static_cast<unsigned int>(offset >> 32));
        HAS_LOG(" [*] szio::offset ( %d )", static_cast<int>(low));
    }
    box.retype(kFree);
    return consumed(table.end());
}

int FragmentBoxes::sencBoxParsing(const BoxView& box) {
    MOOF_TRACK_FORMAT* const current = m_records.current();
    const TRACK_FORMAT* const track =
        current == nullptr ? nullptr : m_records.find(current->trackId);
    // The box's own count of samples says nothing that `trun` does not.
    ByteReader entries = box.from(kFullHeader);
    if (track == nullptr || track->perSampleIvSize > kMaxIv || !entries.skip(4) ||
        !spend(m_budget, current->samples.size()))
        return -1;
    const bool hasSubsamples = (box.flags() & kSencSubsamples) != 0;
    AuxiliaryReader reader(*current, track->perSampleIvSize, m_budget);
    if (hasSubsamples)
        reader.expect(box.size());
    for (SAMPLE_FORMAT& sample : current->samples) {
        if (!reader.read(entries, hasSubsamples, sample))
            return -1;
    }
    current->auxResolved = MOOF_TRACK_FORMAT::AUX_RESOLVED;
    box.retype(kFree);
    return consumed(entries.at());
}

} // namespace hascommon::detail
