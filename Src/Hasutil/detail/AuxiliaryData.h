// What Common Encryption says of each sample (ISO/IEC 23001-7, clause 7).
#pragma once

#include <Hasutil/CENCFormat.h>
#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

/// The longest IV that a sample record holds.
constexpr unsigned char kMaxIv = 16;

/// Reads the records of samples from where they lie, and puts the subsamples into their track.
class AuxiliaryReader {
public:
    /// @param track   receives the subsamples
    /// @param ivSize  of every sample of the track, at most kMaxIv
    AuxiliaryReader(MOOF_TRACK_FORMAT& track, unsigned char ivSize)
        : m_track(track)
        , m_ivSize(ivSize) {}

    /// Takes memory at once for the subsamples that this many bytes may hold.
    void expect(size_t bytes);

    /// Reads an IV and, when asked to, the subsamples behind it.
    /// @param at  where it begins; moved behind it
    /// @return false when the bytes do not hold it; the sample may then have its IV only
    bool read(const BoxView& bytes, size_t& at, bool hasSubsamples, SAMPLE_FORMAT& sample);

    /// Reads a record of the size that the sample has been given; nothing for a size of 0.
    bool readSized(const BoxView& bytes, size_t& at, SAMPLE_FORMAT& sample);

private:
    bool readSubsamples(const BoxView& bytes, size_t& at, SAMPLE_FORMAT& sample);

    MOOF_TRACK_FORMAT& m_track;
    unsigned char m_ivSize;
};

/// Reads the records of all samples of a track from its `saio` offsets.
/// @param moof  what the offsets are counted in, and what all records must lie in
/// @return false when they do not, when the sizes do not fit, and when there are several offsets
///         but not one for each run
bool bindAuxiliaryData(const BoxView& moof, unsigned char ivSize, MOOF_TRACK_FORMAT& track);

} // namespace hascommon::detail
