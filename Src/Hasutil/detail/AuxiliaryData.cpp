#include <Hasutil/detail/AuxiliaryData.h>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

using namespace hascommon::detail;

constexpr size_t kSubsample = 6;
constexpr unsigned char kUsualIv = 8;

/// One offset of a `saio`; those of version 1 are kept as two words, the low one first.
unsigned long long offsetOf(const MOOF_TRACK_FORMAT& track, size_t index) {
    const auto& words = track.saioOffsets;
    if (words.size() == track.saioCount)
        return words[index];
    return words[2 * index] | static_cast<unsigned long long>(words[2 * index + 1]) << 32;
}

/// Whether the offsets are there; a record may have been put together by an embedder.
bool hasOffsets(const MOOF_TRACK_FORMAT& track) {
    const size_t words = track.saioOffsets.size();
    return words == track.saioCount || words == 2ULL * track.saioCount;
}

/// The runs that the offsets stand for: with one offset everything is a single run.
bool runsOf(const MOOF_TRACK_FORMAT& track, std::vector<unsigned int>& runs) {
    if (track.saioCount == 1)
        runs.assign(1, static_cast<unsigned int>(track.samples.size()));
    else
        runs = track.runSampleCounts;
    const auto samples = std::accumulate(runs.begin(), runs.end(), 0ULL);
    return runs.size() == track.saioCount && samples == track.samples.size();
}

} // namespace

namespace hascommon::detail {

bool AuxiliaryReader::read(ByteReader& bytes, bool hasSubsamples, SAMPLE_FORMAT& sample) {
    if (bytes.left() < m_ivSize)
        return false;
    memset(sample.iv, 0, sizeof sample.iv);
    if (m_ivSize == kUsualIv)
        bytes.copy(sample.iv, kUsualIv); // a size known here takes no call
    else
        bytes.copy(sample.iv, m_ivSize);
    sample.ivSize = m_ivSize;
    sample.subsampleCount = 0;
    return !hasSubsamples || readSubsamples(bytes, sample);
}

void AuxiliaryReader::expect(size_t bytes) {
    makeRoom(m_track.subsamples, bytes / kSubsample);
}

bool AuxiliaryReader::readSized(ByteReader& bytes, SAMPLE_FORMAT& sample) {
    if (sample.auxSize == 0)
        return true;
    ByteReader record;
    return sample.auxSize >= m_ivSize && bytes.take(sample.auxSize, record) &&
           read(record, sample.auxSize > m_ivSize, sample);
}

bool AuxiliaryReader::readSubsamples(ByteReader& bytes, SAMPLE_FORMAT& sample) {
    unsigned int count = 0;
    ByteReader entries;
    if (!bytes.u16(count) || !bytes.take(kSubsample * count, entries) || !spend(m_budget, count))
        return false;
    sample.subsampleCount = static_cast<unsigned short>(count);
    sample.firstSubsample = static_cast<unsigned int>(m_track.subsamples.size());
    m_track.subsamples.resize(m_track.subsamples.size() + count);
    SUBSAMPLE_FORMAT* subsample = m_track.subsamples.data() + sample.firstSubsample;
    unsigned int clear = 0;
    for (; entries.u16(clear) && entries.u32(subsample->protectedBytes); ++subsample)
        subsample->clearBytes = static_cast<unsigned short>(clear);
    return true;
}

bool bindAuxiliaryData(ByteReader moof, unsigned char ivSize, MOOF_TRACK_FORMAT& track,
                       VisitBudget& budget) {
    if (!spend(budget, 2ULL * track.samples.size()))
        return false;
    const bool isEmpty =
        std::all_of(track.samples.begin(), track.samples.end(),
                    [](const SAMPLE_FORMAT& sample) { return sample.auxSize == 0; });
    if (isEmpty)
        return true;
    std::vector<unsigned int> runs;
    if (ivSize > kMaxIv || !hasOffsets(track) || !runsOf(track, runs))
        return false;
    AuxiliaryReader reader(track, ivSize, budget);
    auto sample = track.samples.begin();
    for (size_t run = 0; run < runs.size(); ++run) {
        ByteReader records = moof;
        if (!records.skip(offsetOf(track, run)))
            return false;
        for (unsigned int i = 0; i < runs[run]; ++i, ++sample) {
            if (!reader.readSized(records, *sample))
                return false;
        }
    }
    return true;
}

} // namespace hascommon::detail
