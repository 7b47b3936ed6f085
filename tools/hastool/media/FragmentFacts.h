// What there is to know of an MP4 segment's boxes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// The fragments of one track in a segment, in the track's units of time.
struct TrackFacts {
    bool isInInit = false; ///< the initialisation has the track
    uint32_t timescale = 0;
    size_t fragments = 0;
    bool hasDecodeTime = false;         ///< the first fragment says when it begins
    uint64_t decodeTime = 0;            ///< of the first sample
    std::optional<uint64_t> smoothTime; ///< that Smooth Streaming gives the first fragment
    uint64_t duration = 0;              ///< of all samples
    uint64_t samples = 0;
    uint64_t bytes = 0;              ///< of all samples
    uint64_t breaks = 0;             ///< fragments that begin elsewhere than the one before ends
    bool isFirstSync = false;        ///< the first sample is marked as a sync sample
    bool hasEncryptionBoxes = false; ///< senc, its older form, or saiz and saio
    std::vector<std::string> groupKeyIds; ///< of sample groups, 32 hexadecimal digits each
};

/// An index of a segment (sidx).
struct IndexFacts {
    uint64_t trackId = 0;
    double earliest = 0;    ///< presentation time, in seconds
    double seconds = 0;     ///< of all that it refers to
    uint64_t bytes = 0;     ///< the same
    bool endsAtBox = false; ///< what it refers to ends with a box of the segment
    size_t references = 0;
    bool leadsToIndex = false; ///< some references are to further indexes
};

/// The boxes of a segment.
struct BoxFacts {
    bool hasType = false;           ///< styp
    bool hasMovie = false;          ///< moov: it initialises itself
    size_t fragments = 0;           ///< moof
    std::vector<uint32_t> sequence; ///< numbers of the fragments, the first kMaxSequence ones
    static constexpr size_t kMaxSequence = 10000;
    size_t sequenceBreaks = 0;       ///< numbers that are not above the one before
    std::string broken;              ///< what is wrong with the structure; empty for nothing
    std::string outside;             ///< samples that lie outside of mdat; empty for none
    std::optional<IndexFacts> index; ///< the first
    std::map<uint32_t, TrackFacts> tracks;
    std::vector<std::string> protections; ///< pssh boxes, as they are
};

} // namespace hastool
