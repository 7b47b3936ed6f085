// What there is to know of a segment's media.
#pragma once

#include "FragmentFacts.h"
#include "InitFacts.h"
#include "StreamFacts.h"
#include "TransportFacts.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A media segment.
struct SegmentFacts {
    enum class Kind { Unknown, TransportStream, Fragments, PackedAudio, Text, Html, Empty };
    Kind kind = Kind::Unknown;
    std::string trouble;              ///< why it cannot be read; empty when it can
    uint64_t bytes = 0;               ///< of the plain segment
    bool looksRandom = false;         ///< of an unknown kind, and as if it were encrypted
    std::vector<StreamFacts> streams; ///< of media, by their ids
    TransportFacts transport;         ///< of a transport stream
    BoxFacts boxes;                   ///< of fragments

    /// The first stream of a kind; null when there is none.
    const StreamFacts* stream(StreamFacts::Kind wanted) const;
    /// The stream that tells how long the segment is: video, or else audio, or else any. Null
    /// without streams whose length is known.
    const StreamFacts* leading() const;
};

/// @param init   what the media cannot be read without; empty for a transport stream
/// @param media  the plain segment
SegmentFacts readSegmentFacts(std::string_view init, std::string_view media);

} // namespace hastool
