#include "DashManifest.h"

#include "DashAddressingReader.h"
#include "DashEventStream.h"
#include "DashTemplate.h"
#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace hastool {
namespace {

using hascommon::XmlElement;

XmlElement findChild(const XmlElement& parent, const std::string& name) {
    XmlElement it = parent.FirstChild();
    while (it && it.Name() != name)
        it = it.Next();
    return it;
}

/// An xlink:href with this value means that the element is to be left out.
constexpr char kResolveToZero[] = "urn:mpeg:dash:resolve-to-zero:2013";

constexpr double kMaxLatency = 86400000; // milliseconds

/// "video" of "video/mp4".
std::string majorType(const std::string& mimeType) {
    return lowered(mimeType.substr(0, mimeType.find('/')));
}

/// Whether an adaptation set or a representation holds subtitles: as documents, or in MP4.
bool isText(const XmlElement& element) {
    const std::string type = lowered(trimmed(element.Attribute("mimeType")));
    const std::string codecs = element.Attribute("codecs");
    return type == "text/vtt" || type == "application/ttml+xml" || codecs.rfind("wvtt", 0) == 0 ||
           codecs.rfind("stpp", 0) == 0;
}

/// What an element hands down to those inside it.
struct Level {
    std::vector<std::string> baseUrls;
    double availabilityOffset = 0; ///< of these URLs together
    bool isAvailableWhole = true;
    DashAddressing addressing;
    std::vector<DashProtection> protections;
};

/// Reads a manifest level by level.
class Parser {
public:
    Parser(const std::string& url, const FetchDashRemote& fetchRemote)
        : m_url(url)
        , m_fetchRemote(fetchRemote)
        , m_addressing(url) {}

    DashManifest parse(const XmlElement& mpd);

private:
    [[noreturn]] void fail(const std::string& what) const { throw ToolError(m_url, what); }
    std::optional<double> duration(const XmlElement& element, const char* name) const;
    int positive(const XmlElement& element, const char* name) const;

    template<typename Read>
    void readLinked(const XmlElement& element, const Level& level, const Read& read);
    std::unique_ptr<XmlDocument> fetchRemote(const Level& level, const std::string& href);
    void readPeriod(const XmlElement& element, const Level& above);
    void addEvents(const XmlElement& element, DashPeriod& period);
    void readSet(const XmlElement& element, const Level& above, DashPeriod& period);
    void fillSet(const XmlElement& element, const Level& above, DashAdaptationSet& set);
    DashRepresentation readRepresentation(const XmlElement& element, const Level& above);
    static void describe(const XmlElement& element, DashRepresentation& representation);
    void checkRepresentation(const DashRepresentation& representation) const;
    void leaveOut(const std::string& what, const ToolError& error);
    std::string periodName() const;
    void completeTimes();
    void checkWhole() const;

    void descend(const XmlElement& element, Level& level);
    void readBase(const XmlElement& element, Level& level);
    void readLatency(const XmlElement& description);
    static DashProtection readProtection(const XmlElement& element);

    const std::string& m_url;
    const FetchDashRemote& m_fetchRemote;
    DashAddressingReader m_addressing;
    DashManifest m_manifest;
    size_t m_remotes = 0;
    size_t m_events = 0;
    bool m_isRemote = false;                 ///< what is read stands elsewhere
    std::optional<ToolError> m_firstFailure; ///< of a set or representation that was left out
};

DashManifest Parser::parse(const XmlElement& mpd) {
    const XmlAttributes attributes(mpd, m_url);
    m_manifest.isDynamic = attributes.text("type") == "dynamic";
    if (mpd.HasAttribute("availabilityStartTime")) {
        const auto start = parseIsoDateTime(attributes.text("availabilityStartTime"));
        if (!start)
            attributes.fail("availabilityStartTime");
        m_manifest.availabilityStart = *start;
    }
    m_manifest.duration = duration(mpd, "mediaPresentationDuration");
    m_manifest.minimumUpdatePeriod = duration(mpd, "minimumUpdatePeriod");
    m_manifest.timeShiftDepth = duration(mpd, "timeShiftBufferDepth");
    m_manifest.suggestedDelay = duration(mpd, "suggestedPresentationDelay");
    Level level;
    descend(mpd, level);
    for (XmlElement it = mpd.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "Location")
            m_manifest.location = trimmed(it.Text());
        else if (it.Name() == "UTCTiming")
            m_manifest.clocks.push_back({it.Attribute("schemeIdUri"), it.Attribute("value")});
        else if (it.Name() == "ServiceDescription")
            readLatency(it);
        else if (it.Name() == "Period")
            readLinked(it, level, [&](const XmlElement& period) { readPeriod(period, level); });
    }
    checkWhole();
    completeTimes();
    return std::move(m_manifest);
}

std::optional<double> Parser::duration(const XmlElement& element, const char* name) const {
    if (!element.HasAttribute(name))
        return std::nullopt;
    const XmlAttributes attributes(element, m_url);
    const auto seconds = parseIsoDuration(attributes.text(name));
    if (!seconds)
        attributes.fail(name);
    return seconds;
}

/// A number that fits an int; 0 where it is missing.
int Parser::positive(const XmlElement& element, const char* name) const {
    const XmlAttributes attributes(element, m_url);
    const uint64_t value = attributes.number(name).value_or(0);
    if (value > static_cast<uint64_t>(std::numeric_limits<int>::max()))
        attributes.fail(name);
    return static_cast<int>(value);
}

void Parser::readPeriod(const XmlElement& element, const Level& above) {
    if (m_manifest.periods.size() == kMaxDashPeriods)
        fail("more than " + std::to_string(kMaxDashPeriods) + " Periods");
    DashPeriod period;
    period.id = element.Attribute("id");
    period.start = duration(element, "start").value_or(-1); // completeTimes() fills it in
    period.duration = duration(element, "duration");
    Level level = above;
    descend(element, level);
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "AdaptationSet")
            readLinked(it, level, [&](const XmlElement& set) { readSet(set, level, period); });
        else if (it.Name() == "EventStream")
            addEvents(it, period);
    }
    m_manifest.periods.push_back(std::move(period));
}

void Parser::addEvents(const XmlElement& element, DashPeriod& period) {
    for (TimedEvent& event : readEventStream(element, m_url, m_manifest.problems)) {
        if (m_events++ < kMaxDashEvents)
            period.events.push_back(std::move(event));
    }
}

/// A set that cannot be used is left out; the others stay.
void Parser::readSet(const XmlElement& element, const Level& above, DashPeriod& period) {
    DashAdaptationSet set;
    set.contentType = lowered(element.Attribute("contentType"));
    if (set.contentType.empty())
        set.contentType = majorType(element.Attribute("mimeType"));
    set.language = element.Attribute("lang");
    set.id = element.Attribute("id");
    set.label = element.Attribute("label");
    set.names = {set.label, set.id};
    try {
        fillSet(element, above, set);
    } catch (const ToolError& error) {
        const std::string type = set.contentType.empty() ? "" : " of " + set.contentType;
        leaveOut("an AdaptationSet" + type + " in " + periodName(), error);
        return;
    }
    if (!set.representations.empty())
        period.sets.push_back(std::move(set));
}

void Parser::fillSet(const XmlElement& element, const Level& above, DashAdaptationSet& set) {
    Level level = above;
    descend(element, level);
    const int width = positive(element, "width");
    const int height = positive(element, "height");
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "Role" && it.Attribute("value") == "main")
            set.isMain = true;
        if (it.Name() == "Role") {
            set.names.push_back(it.Attribute("value"));
            set.roles.push_back(it.Attribute("value"));
        }
        if (it.Name() == "Label") {
            set.names.insert(set.names.begin(), trimmed(it.Text()));
            set.label = set.names.front();
        }
        if (it.Attribute("schemeIdUri") == "http://dashif.org/guidelines/trickmode")
            set.isTrick = true;
        if (it.Name() != "Representation")
            continue;
        if (set.contentType.empty())
            set.contentType = majorType(it.Attribute("mimeType"));
        if (isText(element) || isText(it))
            set.contentType = "text";
        try {
            set.representations.push_back(readRepresentation(it, level));
        } catch (const ToolError& error) {
            leaveOut("Representation " + inQuotes(it.Attribute("id")) + " in " + periodName(),
                     error);
            continue;
        }
        DashRepresentation& last = set.representations.back();
        if (last.codecs.empty())
            last.codecs = element.Attribute("codecs");
        last.width = last.width > 0 ? last.width : width;
        last.height = last.height > 0 ? last.height : height;
        describe(element, last);
    }
}

DashRepresentation Parser::readRepresentation(const XmlElement& element, const Level& above) {
    Level level = above;
    descend(element, level);
    DashRepresentation result;
    result.id = element.Attribute("id");
    result.bandwidth = positive(element, "bandwidth");
    result.width = positive(element, "width");
    result.height = positive(element, "height");
    result.codecs = element.Attribute("codecs");
    describe(element, result);
    result.baseUrls = std::move(level.baseUrls);
    result.addressing = std::move(level.addressing);
    result.availabilityOffset = level.availabilityOffset + result.addressing.availabilityOffset;
    result.addressing.isAvailableWhole =
        result.addressing.isAvailableWhole && level.isAvailableWhole;
    result.protections = std::move(level.protections);
    checkRepresentation(result);
    return result;
}

/// Takes what playing does not need from an element, where no inner one has said it.
void Parser::describe(const XmlElement& element, DashRepresentation& representation) {
    const auto take = [&](std::string& field, const char* name) {
        if (field.empty())
            field = trimmed(element.Attribute(name));
    };
    take(representation.mimeType, "mimeType");
    take(representation.frameRate, "frameRate");
    take(representation.samplingRate, "audioSamplingRate");
    const XmlElement channels = findChild(element, "AudioChannelConfiguration");
    if (!representation.channelScheme.empty() || !channels)
        return;
    representation.channelScheme = trimmed(channels.Attribute("schemeIdUri"));
    representation.channelValue = trimmed(channels.Attribute("value"));
}

/// Finds faults here that would show only when each segment is asked for.
void Parser::checkRepresentation(const DashRepresentation& representation) const {
    const DashAddressing& addressing = representation.addressing;
    if (addressing.kind == DashAddressing::Kind::List && !addressing.list)
        fail("a SegmentList without a SegmentURL");
    if (addressing.kind == DashAddressing::Kind::Template)
        expandDashTemplate(addressing.media, {}, m_url);
    if (addressing.isInitTemplate)
        expandDashTemplate(addressing.initialization, {}, m_url);
}

void Parser::leaveOut(const std::string& what, const ToolError& error) {
    if (!m_firstFailure)
        m_firstFailure = error;
    const std::string prefix = m_url + ": ";
    std::string reason = error.what();
    if (reason.rfind(prefix, 0) == 0)
        reason.erase(0, prefix.size());
    m_manifest.problems.push_back(prefix + what + " cannot be used: " + reason);
}

/// The name of the period that is being read.
std::string Parser::periodName() const {
    return "Period " + std::to_string(m_manifest.periods.size() + 1);
}

/// Reads an element, or the elements that its xlink:href names in its place (ISO/IEC 23009-1, 5.5).
/// Where these cannot be had, the element itself is read.
template<typename Read>
void Parser::readLinked(const XmlElement& element, const Level& level, const Read& read) {
    // Where the manifest does not declare the prefix, the reader takes it for a part of the name.
    const char* const name = element.HasAttribute("href") ? "href" : "xlink:href";
    const std::string href = m_isRemote ? "" : trimmed(element.Attribute(name));
    if (href == kResolveToZero)
        return;
    std::unique_ptr<XmlDocument> document;
    if (!href.empty())
        try {
            document = fetchRemote(level, href);
        } catch (const ToolError& error) {
            const bool hasOwn = static_cast<bool>(element.FirstChild());
            m_manifest.problems.push_back(
                m_url + ": " + periodName() + (hasOwn ? " is played as it stands" : " is skipped") +
                ", its " + element.Name() + " stands elsewhere: " + error.what());
        }
    if (!document) {
        read(element);
        return;
    }
    m_isRemote = true;
    const XmlElement root = document->root();
    const bool isAlone = root.Name() == element.Name();
    for (XmlElement it = isAlone ? root : root.FirstChild(); it; it = it.Next()) {
        if (it.Name() == element.Name())
            read(it);
    }
    m_isRemote = false;
}

/// The document may be several elements in a row, which is not well-formed: an element is then put
/// around them.
std::unique_ptr<XmlDocument> Parser::fetchRemote(const Level& level, const std::string& href) {
    if (++m_remotes > kMaxDashRemotes)
        fail("more than " + std::to_string(kMaxDashRemotes) + " elements that stand elsewhere");
    std::string url = m_url;
    for (const std::string& base : level.baseUrls)
        url = resolveHttpUrl(url, base, m_url);
    url = resolveHttpUrl(url, href, m_url);
    if (!m_fetchRemote)
        throw ToolError(url, "not fetched");
    const std::string text = m_fetchRemote(url);
    try {
        return std::make_unique<XmlDocument>(text, url);
    } catch (const ToolError&) {
        const std::string elements(withoutPrologue(text));
        return std::make_unique<XmlDocument>("<r>" + elements + "</r>", url);
    }
}

void Parser::checkWhole() const {
    const auto& periods = m_manifest.periods;
    if (periods.empty())
        fail("an MPD without a Period");
    const bool hasSets = std::any_of(periods.begin(), periods.end(),
                                     [](const DashPeriod& it) { return !it.sets.empty(); });
    if (!hasSets && m_firstFailure)
        throw ToolError(*m_firstFailure);
}

/// A period begins where the one before ends, and ends where the next one begins, unless it says
/// so itself.
void Parser::completeTimes() {
    auto& periods = m_manifest.periods;
    double end = 0;
    for (DashPeriod& period : periods) {
        if (period.start < 0)
            period.start = end;
        end = period.start + period.duration.value_or(0);
    }
    for (size_t i = 0; i < periods.size(); ++i) {
        if (i + 1 < periods.size() && periods[i + 1].start < periods[i].start)
            fail("Periods that are not in order");
        const bool isLast = i + 1 == periods.size();
        if (!periods[i].duration && !isLast)
            periods[i].duration = periods[i + 1].start - periods[i].start;
        else if (!periods[i].duration && m_manifest.duration)
            periods[i].duration = std::max(0.0, *m_manifest.duration - periods[i].start);
    }
}

/// Adds what an element itself says to what the levels above it said.
void Parser::descend(const XmlElement& element, Level& level) {
    bool hasBase = false;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        const std::string name = it.Name();
        if (name == "BaseURL" && !hasBase) { // the others are alternatives to the first
            readBase(it, level);
            hasBase = true;
        } else if (name == "ContentProtection") {
            level.protections.push_back(readProtection(it));
        } else {
            m_addressing.read(it, level.addressing);
        }
    }
}

/// The offsets of all URLs that make up a segment's own count (ISO/IEC 23009-1, 5.3.9.5.2); those
/// above an absolute URL have no part in it.
void Parser::readBase(const XmlElement& element, Level& level) {
    level.baseUrls.push_back(trimmed(element.Text()));
    if (level.baseUrls.back().find("://") != std::string::npos) {
        level.availabilityOffset = 0;
        level.isAvailableWhole = true;
    }
    const XmlAttributes attributes(element, m_url);
    level.availabilityOffset += availabilityOffset(attributes).value_or(0);
    if (attributes.text("availabilityTimeComplete") == "false")
        level.isAvailableWhole = false;
}

/// What a player should stay behind the live time; only one that can be used counts.
void Parser::readLatency(const XmlElement& description) {
    const XmlElement latency = findChild(description, "Latency");
    if (!latency || m_manifest.latencyTarget)
        return;
    const auto target = parseDecimal(trimmed(latency.Attribute("target")));
    if (target && *target <= kMaxLatency)
        m_manifest.latencyTarget = *target / 1000;
}

DashProtection Parser::readProtection(const XmlElement& element) {
    DashProtection result;
    result.schemeId = trimmed(element.Attribute("schemeIdUri"));
    result.value = element.Attribute("value");
    result.defaultKid = trimmed(element.Attribute("default_KID"));
    result.pssh = withoutBlanks(findChild(element, "pssh").Text());
    result.pro = withoutBlanks(findChild(element, "pro").Text());
    return result;
}

} // namespace

bool looksLikeDash(const std::string& text) {
    return outermostElement(text) == "MPD";
}

DashManifest parseDashManifest(const std::string& text, const std::string& url,
                               const FetchDashRemote& fetchRemote) {
    XmlDocument document(text, url);
    const XmlElement root = document.root();
    if (root.Name() != "MPD")
        throw ToolError(url, "not an MPD: " + inQuotes(root.Name()));
    return Parser(url, fetchRemote).parse(root);
}

} // namespace hastool
