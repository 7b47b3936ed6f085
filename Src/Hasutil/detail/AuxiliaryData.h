// What Common Encryption says of each sample (ISO/IEC 23001-7, clause 7).
#pragma once

#include <Hasutil/CENCFormat.h>
#include <Hasutil/detail/ByteReader.h>
#include <Hasutil/detail/VisitBudget.h>

#include <algorithm>

namespace hascommon::detail {

/// The longest IV that a sample record holds.
constexpr unsigned char kMaxIv = 16;

/// Takes memory for so many more elements at once, and never so little that a list that grows by
/// small steps is moved at each of them.
template<typename List>
void makeRoom(List& list, size_t more) {
    const size_t needed = list.size() + more;
    if (needed > list.capacity())
        list.reserve(std::max(needed, 2 * list.capacity()));
}

/// Reads the records of samples from where they lie, and puts the subsamples into their track.
class AuxiliaryReader {
public:
    /// @param track   receives the subsamples
    /// @param ivSize  of every sample of the track, at most kMaxIv
    /// @param budget  pays for each subsample
    AuxiliaryReader(MOOF_TRACK_FORMAT& track, unsigned char ivSize, VisitBudget& budget)
        : m_track(track)
        , m_ivSize(ivSize)
        , m_budget(budget) {}

    /// Takes memory at once for the subsamples that this many bytes may hold.
    void expect(size_t bytes);

    /// Reads an IV and, when asked to, the subsamples behind it.
    /// @return false when the bytes do not hold it, or the budget is spent; the sample may then
    ///         have its IV only
    bool read(ByteReader& bytes, bool hasSubsamples, SAMPLE_FORMAT& sample);

    /// Reads a record of the size that the sample has been given; nothing for a size of 0.
    bool readSized(ByteReader& bytes, SAMPLE_FORMAT& sample);

private:
    bool readSubsamples(ByteReader& bytes, SAMPLE_FORMAT& sample);

    MOOF_TRACK_FORMAT& m_track;
    unsigned char m_ivSize;
    VisitBudget& m_budget;
};

/// Reads the records of all samples of a track from its `saio` offsets.
/// @param moof    unread; the offsets count from its begin, and all records must lie in it
/// @param budget  pays for each sample, twice, and for each subsample
/// @return false when they do not, when the sizes do not fit, when there are several offsets but
///         not one for each run, and when the budget is spent
bool bindAuxiliaryData(ByteReader moof, unsigned char ivSize, MOOF_TRACK_FORMAT& track,
                       VisitBudget& budget);

} // namespace hascommon::detail
