// DASH manifests: Media Presentation Descriptions (ISO/IEC 23009-1).
#pragma once

#include <hastool/formats/TimedEvent.h>
#include <hastool/net/ByteRange.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One S of a SegmentTimeline: segments of the same duration.
struct DashRun {
    std::optional<uint64_t> time; ///< where it begins, in units of the timescale
    uint64_t duration = 0;
    int64_t repeats = 0; ///< how many follow the first; negative: up to the next one or the end
};

/// One SegmentURL.
struct DashSegmentUrl {
    std::string media; ///< empty for the BaseURL itself
    std::optional<ByteRange> range;
};

/// How the segments of a representation are found. What a level does not say comes from the level
/// above it.
struct DashAddressing {
    enum class Kind { None, Template, List, Base };
    Kind kind = Kind::None; ///< None: the BaseURL names everything as one segment
    uint64_t timescale = 1;
    uint64_t timeOffset = 0; ///< presentationTimeOffset, in units of the timescale
    uint64_t startNumber = 1;
    std::optional<uint64_t> endNumber;
    std::optional<uint64_t> duration; ///< of every segment, in units of the timescale
    std::shared_ptr<const std::vector<DashRun>> timeline; ///< null where there is none
    std::string media;                                    ///< a template
    std::string initialization; ///< a template, or the URL of a sourceURL attribute
    bool isInitTemplate = false;
    bool hasInitialization = false;
    std::optional<ByteRange> initRange;
    std::optional<ByteRange> indexRange; ///< of the sidx
    double availabilityOffset = 0;       ///< seconds before its end that a segment can be asked for
    bool isAvailableWhole = true;        ///< a segment that can be asked for is there as a whole
    std::shared_ptr<const std::vector<DashSegmentUrl>> list;
};

/// One ContentProtection.
struct DashProtection {
    std::string schemeId;
    std::string value;
    std::string defaultKid;
    std::string pssh; ///< a whole pssh box in base64, without blanks
    std::string pro;  ///< a PlayReady object in base64, without blanks
};

struct DashRepresentation {
    std::string id;
    int bandwidth = 0; ///< bits per second
    int width = 0;
    int height = 0;
    std::string codecs;
    std::string mimeType;
    std::string frameRate;             ///< as written: "25" or "30000/1001"
    std::string samplingRate;          ///< as written: hertz, or the least and the most
    std::string channelScheme;         ///< of AudioChannelConfiguration
    std::string channelValue;          ///< as its scheme says
    std::vector<std::string> baseUrls; ///< from the outermost level to its own, as written
    DashAddressing addressing;
    std::vector<DashProtection> protections;
    /// Seconds before its end that a segment can be asked for, all levels together; may be
    /// infinite.
    double availabilityOffset = 0;
};

struct DashAdaptationSet {
    /// "video", "audio", "text" or another in lower case; empty when not known. Subtitles are
    /// "text" whatever they come in.
    std::string contentType;
    std::string language;
    std::vector<std::string> names; ///< its labels, id and roles
    std::string id;
    std::string label;
    std::vector<std::string> roles;
    bool isMain = false;  ///< its Role says so
    bool isTrick = false; ///< only for fast forward
    std::vector<DashRepresentation> representations;
};

struct DashPeriod {
    std::string id;
    double start = 0;               ///< seconds since the begin of the presentation
    std::optional<double> duration; ///< seconds; not known for the last one of a live presentation
    std::vector<DashAdaptationSet> sets;
    std::vector<TimedEvent> events; ///< times count from the begin of the period
};

/// One UTCTiming: how to read the server's clock.
struct DashClock {
    std::string scheme;
    std::string value;
};

struct DashManifest {
    bool isDynamic = false;
    double availabilityStart = 0;              ///< seconds since the epoch
    std::optional<double> duration;            ///< seconds
    std::optional<double> minimumUpdatePeriod; ///< seconds
    std::optional<double> timeShiftDepth;      ///< seconds
    std::optional<double> suggestedDelay;      ///< seconds
    std::optional<double> latencyTarget;       ///< seconds, of the first ServiceDescription
    std::string location;                      ///< where to load it again, as written
    std::vector<DashClock> clocks;
    std::vector<DashPeriod> periods;   ///< in order, at least one
    std::vector<std::string> problems; ///< which parts cannot be used, and why; a line each
};

/// The most that a manifest may list.
constexpr size_t kMaxDashPeriods = 10000;
constexpr size_t kMaxDashRemotes = 100; ///< parts in documents of their own, fetched one by one
constexpr size_t kMaxDashRuns = 500000;

/// Whether a document looks like a DASH manifest: its outermost element is an MPD.
bool looksLikeDash(const std::string& text);

/// Fetches a part of the manifest from its absolute URL. @throws ToolError when that fails
using FetchDashRemote = std::function<std::string(const std::string& url)>;

/// Parses a manifest. Adaptation sets and representations that cannot be used are left out, and so
/// are periods whose own document cannot be had; `problems` tells which.
/// @param url          where it came from; names it in messages
/// @param fetchRemote  for periods and adaptation sets in documents of their own (xlink:href)
/// @throws ToolError for text that is no manifest, for a value of the MPD or of a Period that
///         cannot be used, and where nothing is left to play
DashManifest parseDashManifest(const std::string& text, const std::string& url,
                               const FetchDashRemote& fetchRemote = {});

} // namespace hastool
