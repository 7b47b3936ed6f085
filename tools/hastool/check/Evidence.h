// What a check has had of a presentation: all that rules look at.
#pragma once

#include "ManifestTree.h"
#include "ServerCertificate.h"
#include <hastool/formats/Presentation.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/hls/HlsLines.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/formats/smooth/SmoothManifest.h>
#include <hastool/media/SegmentFacts.h>
#include <hastool/net/ByteRange.h>
#include <hastool/net/ResponseHead.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// How a resource was had.
struct Answer {
    Resource resource;    ///< as it was asked for
    std::string finalUrl; ///< after all redirects
    bool ok = false;
    std::string failure; ///< why it is not ok, a line
    long status = 0;     ///< of HTTP; 0 where there was no response, and for a local file
    long redirects = 0;
    bool isLocal = false; ///< read from a folder: there is no response to judge
    ResponseHead head;
    uint64_t bytes = 0;
    double begun = 0;   ///< seconds since the check began
    double seconds = 0; ///< until it was there as a whole
};

/// A manifest or playlist at one time.
struct CheckedDocument {
    Answer answer;
    std::string text;
    std::string trouble; ///< why it cannot be read, with its place; empty when it can
    /// Of HLS; null until readPlaylistLines(), and where there are too many.
    std::shared_ptr<const HlsLines> lines = nullptr;
    ManifestTree tree = nullptr; ///< of an XML manifest; null without one (readManifestTree())
};

/// A media playlist of HLS at one time. What could not be read has a `trouble` and no segments.
struct CheckedPlaylist : CheckedDocument {
    HlsPlaylist playlist;
};

enum class CheckedFormat { Hls, Dash, Smooth };

/// An initialisation segment.
struct CheckedInit {
    Answer answer; ///< what to fetch, before that
    std::optional<Encryption> encryption;
    bool isFetched = false;
    std::string decryptTrouble; ///< why there is no plain text; empty when there is
    std::string bytes;          ///< the plain text
    InitFacts facts;
};

struct CheckedSegment {
    Answer answer;       ///< what to fetch, before that
    std::string name;    ///< as people call it: "segment 7"
    uint64_t number = 0; ///< media sequence number, DASH number, or place
    double start = 0;    ///< declared, seconds since the begin of the presentation or playlist
    double seconds = 0;  ///< declared
    bool discontinuity = false;           ///< its timestamps need not go on from the segment before
    bool gap = false;                     ///< declared as missing, not fetched
    bool isFetched = false;               ///< false where sampling left it out
    bool isEncrypted = false;             ///< as a whole (AES-128); `facts` are of the plain text
    std::optional<Encryption> encryption; ///< how
    std::string decryptTrouble;           ///< why there is no plain text; empty when there is
    double timeOffset =
        0; ///< seconds to add to the media's times to have the presentation's (DASH)
    std::optional<size_t> init; ///< into CheckedRendition::inits
    /// Makes the initialisation from the media, where there is none to fetch; else null.
    std::function<std::string(std::string_view media)> makeInit;
    SegmentFacts facts;
};

/// One quality of one kind of media, in one period.
struct CheckedRendition {
    enum class Kind { Video, Audio, Text, Other };

    std::string name;        ///< unique, as people know it: "1280x720 at 2,400 kbit/s"
    Kind kind = Kind::Other; ///< Video also where audio comes with it
    size_t period = 0;
    size_t set = 0;         ///< renditions of the same set and period can be switched between
    std::string id;         ///< Representation@id, the playlist's URI
    std::string url;        ///< of the media playlist (HLS)
    uint64_t bandwidth = 0; ///< declared, bits per second; 0 when not
    uint64_t averageBandwidth = 0;  ///< declared; 0 when not
    bool isBandwidthShared = false; ///< it covers renditions of other groups too (HLS with groups)
    std::string codecs;             ///< declared for this rendition alone; empty when not
    std::string mimeType;
    int width = 0; ///< declared; 0 when not
    int height = 0;
    double frameRate = 0;
    std::string language;
    bool isTrick = false;                   ///< key frames only
    bool isProtected = false;               ///< the manifest says that samples are encrypted
    std::vector<std::string> keyIds;        ///< that the manifest names, as uuidText() has them
    std::optional<double> duration;         ///< declared, seconds
    std::vector<CheckedPlaylist> playlists; ///< of HLS, in the order they were loaded
    std::vector<CheckedInit> inits;
    std::vector<CheckedSegment> segments; ///< in order
    std::string trouble; ///< why its segments could not be listed; empty when they could

    /// Whether every segment that is not a gap was had.
    bool isWhole() const;
};

/// All that was had of a presentation.
struct Evidence {
    CheckedFormat format = CheckedFormat::Hls;
    std::string url; ///< as the user gave it
    bool isLive = false;
    bool hasMaster = false;                 ///< HLS: `documents` are of a master playlist
    std::vector<CheckedDocument> documents; ///< the manifest, in the order it was loaded
    HlsPlaylist master;                     ///< of HLS, where hasMaster
    std::vector<DashManifest> dash;         ///< for each of the `documents` that could be read
    std::vector<SmoothManifest> smooth;     ///< the same
    std::optional<double> duration;         ///< declared, seconds
    std::vector<CheckedRendition> renditions;
    std::vector<ServerCertificate> certificates; ///< of each host that was asked over TLS
    std::vector<Answer> keys;
    double checkedFor = 0; ///< seconds that a live presentation was followed
    std::string cutShort;  ///< why the check ended before it had all; empty when it did not
};

} // namespace hastool
