// What there is to know of a segment's media.
#pragma once

#include <string>
#include <string_view>

namespace hastool {

/// An initialisation segment.
struct InitFacts {
    std::string trouble; ///< why it cannot be read; empty when it can
};

/// A media segment.
struct SegmentFacts {
    enum class Kind { Unknown, TransportStream, Fragments, PackedAudio, Text, Html, Empty };
    Kind kind = Kind::Unknown;
    std::string trouble; ///< why it cannot be read; empty when it can
};

/// @param init  the initialisation, as it came
InitFacts readInitFacts(std::string_view init);
/// @param init   what the media cannot be read without; empty for a transport stream
/// @param media  the plain segment
SegmentFacts readSegmentFacts(std::string_view init, std::string_view media);

} // namespace hastool
