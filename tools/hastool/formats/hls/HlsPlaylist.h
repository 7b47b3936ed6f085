// HLS playlists (RFC 8216).
#pragma once

#include "HlsDateRange.h"
#include "HlsParts.h"
#include "HlsVariables.h"
#include <hastool/net/ByteRange.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// One EXT-X-STREAM-INF of a master playlist.
struct HlsVariant {
    int bandwidth = 0; ///< bits per second
    std::string uri;   ///< as written
    std::string codecs;
    std::string resolution;
    std::string audioGroup; ///< empty where its audio comes with it
    std::string videoGroup; ///< empty where its video comes with it
    std::string subtitleGroup;
    uint64_t averageBandwidth = 0; ///< bits per second; 0 when not said
    double frameRate = 0;          ///< frames per second at most; 0 when not said
};

/// One EXT-X-MEDIA.
struct HlsRendition {
    std::string group;
    std::string name;
    std::string uri; ///< as written; empty where it comes with the variants
    bool isDefault = false;
    std::string language;
    bool isForced = false; ///< holds only what is not said in the viewer's language
    std::string channels;  ///< of audio: their number, then other parameters behind a "/"
    std::string inStream;  ///< of closed captions: their place in the video, as in "CC1"
};

/// An advertisement that begins or ends before a segment (EXT-X-CUE-OUT, EXT-X-CUE-IN).
enum class HlsCue { None, Out, In };

/// The EXT-X-KEY that holds for a segment. Where several with different KEYFORMATs hold, it is the
/// one of the format "identity", if there is one: its key is the bytes at its URI.
struct HlsKey {
    std::string method;
    std::string uri; ///< as written; never empty for AES-128
    std::string iv;  ///< as written; for AES-128 empty or a text that parseIvAttribute() reads
    std::string format = "identity";
    std::string id; ///< KEYID, as written
};

/// The EXT-X-MAP that holds for a segment.
struct HlsMap {
    std::string uri;
    std::optional<ByteRange> range;
    std::shared_ptr<const HlsKey> key; ///< in force where the map is declared; null when clear
};

/// One media segment.
struct HlsSegment {
    uint64_t sequence = 0; ///< its media sequence number
    double seconds = 0;
    std::string uri; ///< as written
    std::optional<ByteRange> range;
    bool discontinuity = false; ///< its timestamps do not go on from the segment before
    bool gap = false;           ///< it is known to be missing, or has no bytes
    HlsCue cue = HlsCue::None;
    std::optional<double> dateTime; ///< seconds since the epoch that it begins at, where said
    std::shared_ptr<const HlsMap> map;
    std::shared_ptr<const HlsKey> key; ///< null when it is clear
    std::vector<HlsPart> parts; ///< together they are the segment; none where they are not listed
};

/// A parsed playlist: variants of a master playlist, or segments of a media playlist.
struct HlsPlaylist {
    std::vector<HlsVariant> variants;
    std::vector<HlsRendition> audio;
    std::vector<HlsRendition> video;
    std::vector<HlsRendition> subtitles;
    bool hasClosedCaptions = false; ///< inside the video
    std::vector<HlsRendition> captions;
    std::vector<HlsVariant> iFrames; ///< one per EXT-X-I-FRAME-STREAM-INF
    /// All that EXT-X-KEY and EXT-X-SESSION-KEY name, each once, up to kMaxKeys; also those of
    /// formats beside the one that a segment's key is taken from.
    std::vector<HlsKey> keys;
    std::vector<HlsSegment> segments;
    std::vector<HlsDateRange> dateRanges;
    double targetSeconds = 0;
    uint64_t mediaSequence = 0;
    bool ended = false;              ///< no segment will be added
    std::optional<HlsSegment> begun; ///< of which there are only parts yet, one at least
    HlsLowLatency lowLatency;
    bool hasBadParts = false; ///< parts contradict their segment: none of them can be trusted
    HlsVariables variables;
    std::vector<std::string> warnings; ///< what was left out, and where; a line each

    bool isMaster() const { return !variants.empty(); }
};

/// The most that a playlist may list. A day of one-second segments is 86,400 of them.
constexpr size_t kMaxSegments = 200000;
constexpr size_t kMaxVariants = 1000;
constexpr size_t kMaxKeys = 1000;        ///< more of them are left out of the list of all
constexpr size_t kMaxDateRanges = 20000; ///< more of them are left out
constexpr double kMaxSegmentSeconds = 86400;

/// Parses a playlist. Unknown tags are passed over; blank lines and comments may stand anywhere.
/// @param url     where it came from: names the playlist in messages, and variables may take their
///                values from its query
/// @param master  the variables of the master playlist that named this one; null when there is none
/// @throws ToolError with the URL and line for text that is no playlist, an empty playlist, and
///         a line that cannot be used
HlsPlaylist parseHlsPlaylist(std::string_view text, const std::string& url,
                             const HlsVariables* master = nullptr);

} // namespace hastool
