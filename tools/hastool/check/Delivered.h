// All that came over the network for a check, one by one.
#pragma once

#include "Evidence.h"
#include "Finding.h"

#include <string>
#include <vector>

namespace hastool {

/// A resource and what it was wanted for. Borrows from the evidence.
struct Delivered {
    enum class Kind { Manifest, Playlist, Init, Segment, Key };
    Kind kind = Kind::Segment;
    const Answer* answer = nullptr;
    const CheckedRendition* rendition = nullptr; ///< null for what belongs to none
    const CheckedDocument* document = nullptr;   ///< of a Manifest or Playlist
    const HlsPlaylist* playlist = nullptr;       ///< of a rendition's Playlist
    const CheckedInit* init = nullptr;
    const CheckedSegment* segment = nullptr;

    /// Whether there is a server's response to judge.
    bool isJudged() const { return answer->ok && !answer->isLocal && answer->status != 0; }
    /// Where it came from in the end.
    const std::string& url() const;
    FindingPlace place() const;
    /// "a segment", "a playlist".
    const char* name() const;
    bool isText() const { return kind == Kind::Manifest || kind == Kind::Playlist; }
};

/// In the order of the evidence; segments that were not asked for are not among them.
std::vector<Delivered> deliveredIn(const Evidence& evidence);

} // namespace hastool
