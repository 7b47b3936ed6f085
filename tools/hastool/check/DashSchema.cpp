#include "DashSchema.h"

#include "DashView.h"
#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>
#include <sstream>

namespace hastool {
namespace {

/// Attributes are named with their type behind a colon (see kTypes; any text without one), and with
/// "!" where they have to be there.
struct Entry {
    const char* names; ///< of elements
    const char* attributes[3];
    bool hasChildren; ///< they are known
    const char* children[3];
};

constexpr char kCommon[] =
    "profiles width:u height:u sar:r frameRate:f audioSamplingRate mimeType segmentProfiles codecs "
    "containerProfiles supplementalCodecs supplementalProfiles maximumSAPPeriod:n startWithSAP:s "
    "maxPlayoutRate:n codingDependency:b scanType selectionPriority:u tag";
constexpr char kCommonChildren[] =
    "FramePacking AudioChannelConfiguration ContentProtection OutputProtection EssentialProperty "
    "SupplementalProperty InbandEventStream Switching RandomAccess GroupLabel Label "
    "ProducerReferenceTime ContentPopularityRateList Resync";
constexpr char kAddressed[] = "BaseURL SegmentBase SegmentList SegmentTemplate";
constexpr char kSegment[] =
    "timescale:p presentationTimeOffset:u presentationDuration:u timeShiftBufferDepth:d "
    "indexRange:g indexRangeExact:b availabilityTimeOffset:o availabilityTimeComplete:b "
    "eptDelta:i pdDelta:i";
constexpr char kSegments[] = "duration:p startNumber:u endNumber:u";
constexpr char kSegmentChildren[] =
    "Initialization RepresentationIndex FailoverContent SegmentTimeline BitstreamSwitching";
constexpr char kAdaptation[] =
    "id group:u lang contentType par:r minBandwidth:u maxBandwidth:u minWidth:u maxWidth:u "
    "minHeight:u maxHeight:u minFrameRate:f maxFrameRate:f segmentAlignment:a "
    "subsegmentAlignment:a subsegmentStartsWithSAP:s bitstreamSwitching:b initializationSetRef "
    "initializationPrincipal label href actuate";
constexpr char kAdaptationChildren[] =
    "Accessibility Role Rating Viewpoint ContentComponent Representation SegmentSequenceProperties "
    "RequestParam";
constexpr char kEvents[] = "schemeIdUri! value timescale:p presentationTimeOffset:u";

constexpr Entry kEntries[] = {
    {"MPD",
     {"id profiles! type:y availabilityStartTime:t availabilityEndTime:t publishTime:t "
      "mediaPresentationDuration:d minimumUpdatePeriod:d minBufferTime:d! timeShiftBufferDepth:d "
      "suggestedPresentationDelay:d maxSegmentDuration:d maxSubsegmentDuration:d"},
     true,
     {"ProgramInformation BaseURL Location PatchLocation ServiceDescription InitializationSet "
      "InitializationGroup InitializationPresentation ContentProtection Period Metrics "
      "EssentialProperty SupplementalProperty UTCTiming LeapSecondInformation ContentSteering"}},
    {"Period",
     {"id start:d duration:d bitstreamSwitching:b href actuate"},
     true,
     {"AssetIdentifier EventStream ServiceDescription ContentProtection AdaptationSet Subset "
      "SupplementalProperty EmptyAdaptationSet GroupLabel Preselection ImportedMPD",
      kAddressed}},
    {"AdaptationSet EmptyAdaptationSet",
     {kAdaptation, kCommon},
     true,
     {kAdaptationChildren, kCommonChildren, kAddressed}},
    {"Representation",
     {"id:w! bandwidth:u! qualityRanking:u dependencyId associationId associationType "
      "mediaStreamStructureId",
      kCommon},
     true,
     {"ExtendedBandwidth SubRepresentation", kCommonChildren, kAddressed}},
    {"SubRepresentation",
     {"level:u dependencyLevel bandwidth:u contentComponent", kCommon},
     true,
     {kCommonChildren}},
    {"SegmentBase", {kSegment}, true, {kSegmentChildren}},
    {"SegmentTemplate",
     {kSegment, kSegments, "media index initialization bitstreamSwitching"},
     true,
     {kSegmentChildren}},
    {"SegmentList", {kSegment, kSegments, "href actuate"}, true, {kSegmentChildren, "SegmentURL"}},
    {"SegmentURL", {"media mediaRange:g index indexRange:g"}, true, {}},
    {"SegmentTimeline", {}, true, {"S Pattern"}},
    {"S", {"t:u n:u d:p! r:i k:p p:u pE:u"}, true, {}},
    {"Initialization RepresentationIndex BitstreamSwitching", {"sourceURL range:g"}, false, {}},
    {"BaseURL",
     {"serviceLocation byteRange availabilityTimeOffset:o availabilityTimeComplete:b "
      "timeShiftBufferDepth:d rangeAccess:b"},
     false,
     {}},
    {"EventStream", {kEvents, "messageData href actuate"}, false, {}},
    {"InbandEventStream", {kEvents}, false, {}},
    {"Event", {"presentationTime:u duration:u id:u contentEncoding messageData status"}, false, {}},
    {"Role Accessibility Rating Viewpoint EssentialProperty SupplementalProperty FramePacking "
     "AudioChannelConfiguration UTCTiming AssetIdentifier OutputProtection",
     {"schemeIdUri! value id"},
     false,
     {}},
    {"ContentProtection", {"schemeIdUri! value id robustness refId ref"}, false, {}},
};

bool isNumber(const std::string& text) {
    return parseUnsigned(text).has_value();
}

bool isSigned(const std::string& text) {
    return isNumber(!text.empty() && text.front() == '-' ? text.substr(1) : text);
}

/// "25", "30000/1001", "16:9": one or two numbers.
bool isPair(const std::string& text, char divider, bool needsBoth) {
    const size_t at = text.find(divider);
    if (at == std::string::npos)
        return !needsBoth && isNumber(text);
    return isNumber(text.substr(0, at)) && isNumber(text.substr(at + 1));
}

bool isRange(const std::string& text) {
    const size_t dash = text.find('-');
    const auto isEmptyOrNumber = [](const std::string& part) {
        return part.empty() || isNumber(part);
    };
    return isEmptyOrNumber(text.substr(0, dash)) &&
           (dash == std::string::npos || isEmptyOrNumber(text.substr(dash + 1)));
}

bool isDecimal(const std::string& text) {
    double value = 0;
    const size_t sign = !text.empty() && text.front() == '+' ? 1 : 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + sign, end, value);
    return result.ec == std::errc() && result.ptr == end;
}

bool isBoolean(const std::string& text) {
    return text == "true" || text == "false" || text == "1" || text == "0";
}

bool isSap(const std::string& text) {
    const auto number = parseUnsigned(text);
    return number && *number <= 6;
}

struct Type {
    char letter;
    bool (*fits)(const std::string& text);
    const char* name;
};

constexpr Type kTypes[] = {
    {'u', isNumber, "a whole number"},
    {'p', [](const std::string& it) { return parseUnsigned(it).value_or(0) > 0; },
     "a whole number above 0"},
    {'i', isSigned, "a whole number"},
    {'b', isBoolean, "\"true\" or \"false\""},
    {'d', [](const std::string& it) { return parseIsoDuration(it).has_value(); },
     "a duration like PT1M2.5S"},
    {'t', [](const std::string& it) { return parseIsoDateTime(it).has_value(); },
     "a time like 2024-01-01T00:00:00Z"},
    {'n', isDecimal, "a number"},
    {'o', [](const std::string& it) { return it == "INF" || isDecimal(it); },
     "a number of seconds or INF"},
    {'f', [](const std::string& it) { return isPair(it, '/', false); },
     "a frame rate like 25 or 30000/1001"},
    {'r', [](const std::string& it) { return isPair(it, ':', true); }, "a ratio like 16:9"},
    {'g', isRange, "a byte range like 0-99"},
    {'a', [](const std::string& it) { return isBoolean(it) || isNumber(it); },
     "\"true\", \"false\" or a whole number"},
    {'s', isSap, "a number from 0 to 6"},
    {'w', [](const std::string& it) { return it.find_first_of(" \t\r\n") == std::string::npos; },
     "a text without blanks"},
    {'y', [](const std::string& it) { return it == "static" || it == "dynamic" || it == "list"; },
     "\"static\" or \"dynamic\""},
};

struct KnownAttribute {
    const Type* type = nullptr; ///< null for any text
    bool isRequired = false;
};

struct KnownElement {
    std::map<std::string, KnownAttribute> attributes;
    std::vector<std::string> children;
    bool hasChildren = false; ///< they are known
};

std::vector<std::string> words(const char* text) {
    std::istringstream stream(text != nullptr ? text : "");
    return {std::istream_iterator<std::string>(stream), {}};
}

void addAttribute(std::string word, KnownElement& element) {
    KnownAttribute known;
    known.isRequired = word.back() == '!';
    if (known.isRequired)
        word.pop_back();
    const size_t colon = word.find(':');
    if (colon != std::string::npos) {
        known.type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                  [&](const Type& it) { return it.letter == word[colon + 1]; });
        word.erase(colon);
    }
    element.attributes[word] = known;
}

KnownElement read(const Entry& entry) {
    KnownElement element;
    element.hasChildren = entry.hasChildren;
    for (const char* const text : entry.attributes) {
        for (const std::string& word : words(text))
            addAttribute(word, element);
    }
    for (const char* const text : entry.children) {
        const auto names = words(text);
        element.children.insert(element.children.end(), names.begin(), names.end());
    }
    return element;
}

std::map<std::string, KnownElement> makeSchema() {
    std::map<std::string, KnownElement> schema;
    for (const Entry& entry : kEntries) {
        for (const std::string& name : words(entry.names))
            schema[name] = read(entry);
    }
    return schema;
}

/// Calls a function for every element that the schema has.
template<typename Visit>
void walkKnown(const ManifestElement& mpd, const Visit& visit) {
    static const auto schema = makeSchema();
    walkManifest(mpd, [&](const ManifestElement& element) {
        const auto known = schema.find(element.name);
        if (element.nameSpace == mpd.nameSpace && known != schema.end())
            visit(element, known->second);
    });
}

} // namespace

std::vector<DashAttributeFault> badDashValues(const ManifestElement& mpd) {
    std::vector<DashAttributeFault> faults;
    walkKnown(mpd, [&](const ManifestElement& element, const KnownElement& known) {
        for (const auto& it : element.attributes) {
            const auto found = known.attributes.find(it.name);
            if (it.isPrefixed || found == known.attributes.end())
                continue;
            const Type* const type = found->second.type;
            if (type != nullptr && !type->fits(it.value))
                faults.push_back({&element, it.name,
                                  it.name + " is " + inQuotes(it.value) + ", not " + type->name});
        }
    });
    return faults;
}

std::vector<DashAttributeFault> missingDashAttributes(const ManifestElement& mpd) {
    std::vector<DashAttributeFault> faults;
    walkKnown(mpd, [&](const ManifestElement& element, const KnownElement& known) {
        for (const auto& [name, attribute] : known.attributes) {
            if (attribute.isRequired && !element.has(name) && !isRemoteElement(element))
                faults.push_back({&element, name, element.name + " without " + name});
        }
    });
    return faults;
}

std::vector<DashAttributeFault> unknownDashNames(const ManifestElement& mpd) {
    std::vector<DashAttributeFault> faults;
    if (!isDashNameSpace(mpd.nameSpace))
        return faults;
    walkKnown(mpd, [&](const ManifestElement& element, const KnownElement& known) {
        for (const auto& it : element.attributes) {
            if (!it.isPrefixed && known.attributes.count(it.name) == 0)
                faults.push_back({&element, it.name, "attribute " + inQuotes(it.name)});
        }
        for (const auto& it : element.children) {
            const bool isKnown = std::find(known.children.begin(), known.children.end(),
                                           it->name) != known.children.end();
            if (known.hasChildren && it->nameSpace == mpd.nameSpace && !isKnown)
                faults.push_back({it.get(), "", "element " + inQuotes(it->name)});
        }
    });
    return faults;
}

} // namespace hastool
