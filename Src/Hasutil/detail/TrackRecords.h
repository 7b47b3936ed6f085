// Which record the box in hand belongs to.
#pragma once

#include <Hasutil/CENCFormat.h>

#include <map>

namespace hascommon::detail {

/// Fills the records of a content while its boxes come in their order.
class TrackRecords {
public:
    /// @param records  stay the owner's, and stay where they are
    explicit TrackRecords(CENC_RECORDS& records)
        : m_records(records) {}

    /// Begins a `moov`: no tracks, and no PSSH data.
    void clearMovie();
    /// Begins a `moof`: no track has samples.
    void clearFragment();

    void add(const TRACK_FORMAT& track);
    /// The track that was added last; null before the first.
    TRACK_FORMAT* last() { return m_records.tracks.empty() ? nullptr : &m_records.tracks.back(); }
    /// The first track of an id; null for an id that is not known.
    const TRACK_FORMAT* find(unsigned int trackId) const;

    /// Adds a fragment's track, which is then the current one.
    void add(const MOOF_TRACK_FORMAT& track);
    /// The track that boxes of a `traf` belong to; null when its `tfhd` has not come, or names no
    /// known track.
    MOOF_TRACK_FORMAT* current() { return m_current; }
    void leaveCurrent() { m_current = nullptr; }

    /// Counts samples that no byte of the fragment stands for.
    /// @return false when they would be too many; they are not counted then
    bool countImplied(unsigned int samples);

    CENC_RECORDS& all() { return m_records; }

private:
    CENC_RECORDS& m_records;
    std::map<unsigned int, const TRACK_FORMAT*> m_trackOfId; // the first of each id
    MOOF_TRACK_FORMAT* m_current = nullptr;
    unsigned int m_impliedSamples = 0;
};

} // namespace hascommon::detail
