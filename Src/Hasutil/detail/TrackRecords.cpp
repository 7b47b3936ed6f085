#include <Hasutil/detail/TrackRecords.h>

namespace {

/// Samples of a fragment that no byte of it stands for: five seconds of PCM at 48 kHz.
constexpr unsigned int kMaxImpliedSamples = 0x40000;

} // namespace

namespace hascommon::detail {

void TrackRecords::clearMovie() {
    m_records.tracks.clear();
    m_trackOfId.clear();
    m_records.psshData.clear();
    m_records.psshSystemId.clear();
}

void TrackRecords::clearFragment() {
    m_records.moofTracks.clear();
    m_current = nullptr;
    m_impliedSamples = 0;
}

void TrackRecords::add(const TRACK_FORMAT& track) {
    m_records.tracks.push_back(track);
    m_trackOfId.emplace(track.trackId, &m_records.tracks.back());
}

const TRACK_FORMAT* TrackRecords::find(unsigned int trackId) const {
    const auto found = m_trackOfId.find(trackId);
    return found == m_trackOfId.end() ? nullptr : found->second;
}

void TrackRecords::add(const MOOF_TRACK_FORMAT& track) {
    m_records.moofTracks.push_back(track);
    m_current = &m_records.moofTracks.back();
}

bool TrackRecords::countImplied(unsigned int samples) {
    if (samples > kMaxImpliedSamples - m_impliedSamples)
        return false;
    m_impliedSamples += samples;
    return true;
}

} // namespace hascommon::detail
