// The samples of a movie fragment's track.
#pragma once

#include "InitTracks.h"

#include <hastool/base/BoxView.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace hastool {

/// One sample as its fragment describes it, with the defaults filled in.
struct FragmentSample {
    uint32_t duration = 0; ///< in units of the track's timescale
    uint32_t size = 0;     ///< in bytes
    uint32_t flags = 0;
    uint32_t offset = 0; ///< of its composition time, as the version of its run has it
};

/// Samples that lie side by side.
struct FragmentPiece {
    size_t firstSample = 0;        ///< of FragmentRun::samples
    std::optional<int64_t> offset; ///< from the base; else behind the piece before
};

/// A track fragment.
struct FragmentRun {
    uint32_t track = 0;
    uint64_t decodeTime = 0; ///< of its first sample; 0 where it does not say
    bool hasDecodeTime = false;
    std::vector<FragmentSample> samples;
    int64_t dataOffset = 0; ///< of the first run's samples, from the begin of the moof
    unsigned version = 0;   ///< of its run
    size_t runs = 0;
    std::vector<FragmentPiece> pieces; ///< one for each run
    std::optional<uint64_t> base;      ///< place in the file that offsets count from
    bool isMoofBase = false;           ///< they count from the begin of the moof
    bool isPlain = true; ///< there is nothing in it but a header, a decode time and runs

    uint64_t duration() const;
};

/// The most samples that one fragment may list: an hour of audio.
constexpr size_t kMaxFragmentSamples = 200000;

/// The track fragments of a moof. Those of tracks that the initialisation does not have, and those
/// that cannot be read, are left out.
/// @param moof  its content
std::vector<FragmentRun> readFragmentRuns(std::string_view moof, const InitTracks& tracks);

/// The seconds of media in a moof: those of its longest track. 0 where that is not known.
double fragmentSeconds(std::string_view moof, const InitTracks& tracks);

} // namespace hastool
