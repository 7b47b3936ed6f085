#include "DashManifest.h"

#include "IsoTime.h"
#include "Number.h"
#include "ToolError.h"
#include "XmlDocument.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace hastool {
namespace {

using hascommon::XmlElement;

constexpr uint64_t kMaxTimescale = 1'000'000'000;

XmlElement findChild(const XmlElement& parent, const std::string& name) {
    XmlElement it = parent.FirstChild();
    while (it && it.Name() != name)
        it = it.Next();
    return it;
}

/// "video" of "video/mp4".
std::string majorType(const std::string& mimeType) {
    return lowered(mimeType.substr(0, mimeType.find('/')));
}

/// What is handed down from level to level.
struct Level {
    std::vector<std::string> baseUrls;
    DashAddressing addressing;
    std::vector<DashProtection> protections;
};

/// Reads a manifest level by level.
class Parser {
public:
    explicit Parser(const std::string& url)
        : m_url(url) {}

    DashManifest parse(const XmlElement& mpd);

private:
    [[noreturn]] void fail(const std::string& what) const { throw ToolError(m_url, what); }
    std::optional<double> duration(const XmlElement& element, const char* name) const;
    std::optional<ByteRange> range(const XmlElement& element, const char* name) const;
    int positive(const XmlElement& element, const char* name) const;

    void readPeriod(const XmlElement& element, const Level& above);
    void readSet(const XmlElement& element, const Level& above, DashPeriod& period);
    DashRepresentation readRepresentation(const XmlElement& element, const Level& above);
    void completeTimes();

    void descend(const XmlElement& element, Level& level);
    void readTemplate(const XmlElement& element, DashAddressing& addressing);
    void readList(const XmlElement& element, DashAddressing& addressing);
    void readBase(const XmlElement& element, DashAddressing& addressing);
    void readCommon(const XmlElement& element, DashAddressing& addressing);
    void readTimeline(const XmlElement& element, DashAddressing& addressing);
    static DashProtection readProtection(const XmlElement& element);

    const std::string& m_url;
    DashManifest m_manifest;
    size_t m_runs = 0;
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
        else if (it.Name() == "Period")
            readPeriod(it, level);
    }
    if (m_manifest.periods.empty())
        fail("an MPD without a Period");
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

std::optional<ByteRange> Parser::range(const XmlElement& element, const char* name) const {
    if (!element.HasAttribute(name))
        return std::nullopt;
    const XmlAttributes attributes(element, m_url);
    const auto range = parseRange(attributes.text(name));
    if (!range)
        attributes.fail(name);
    return range;
}

/// A number that fits an int; 0 where there is none.
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
    period.start = duration(element, "start").value_or(-1); // completeTimes() finds it
    period.duration = duration(element, "duration");
    Level level = above;
    descend(element, level);
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "AdaptationSet")
            readSet(it, level, period);
    }
    m_manifest.periods.push_back(std::move(period));
}

void Parser::readSet(const XmlElement& element, const Level& above, DashPeriod& period) {
    DashAdaptationSet set;
    set.contentType = lowered(element.Attribute("contentType"));
    if (set.contentType.empty())
        set.contentType = majorType(element.Attribute("mimeType"));
    set.language = element.Attribute("lang");
    Level level = above;
    descend(element, level);
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "Role" && it.Attribute("value") == "main")
            set.isMain = true;
        if (it.Attribute("schemeIdUri") == "http://dashif.org/guidelines/trickmode")
            set.isTrick = true;
        if (it.Name() != "Representation")
            continue;
        set.representations.push_back(readRepresentation(it, level));
        if (set.contentType.empty())
            set.contentType = majorType(it.Attribute("mimeType"));
        DashRepresentation& last = set.representations.back();
        if (last.codecs.empty())
            last.codecs = element.Attribute("codecs");
        last.width = last.width > 0 ? last.width : positive(element, "width");
        last.height = last.height > 0 ? last.height : positive(element, "height");
    }
    if (!set.representations.empty())
        period.sets.push_back(std::move(set));
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
    result.baseUrls = std::move(level.baseUrls);
    result.addressing = std::move(level.addressing);
    result.protections = std::move(level.protections);
    return result;
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

/// Takes what an element itself says into the level.
void Parser::descend(const XmlElement& element, Level& level) {
    bool hasBase = false;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        const std::string name = it.Name();
        if (name == "BaseURL" && !hasBase) { // the others are alternatives to the first
            level.baseUrls.push_back(trimmed(it.Text()));
            hasBase = true;
        } else if (name == "SegmentTemplate") {
            readTemplate(it, level.addressing);
        } else if (name == "SegmentList") {
            readList(it, level.addressing);
        } else if (name == "SegmentBase") {
            readBase(it, level.addressing);
        } else if (name == "ContentProtection") {
            level.protections.push_back(readProtection(it));
        }
    }
}

void Parser::readTemplate(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::Template;
    readCommon(element, addressing);
    if (element.HasAttribute("media"))
        addressing.media = trimmed(element.Attribute("media"));
    if (element.HasAttribute("initialization")) {
        addressing.initialization = trimmed(element.Attribute("initialization"));
        addressing.hasInitialization = true;
    }
}

void Parser::readList(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::List;
    readCommon(element, addressing);
    std::vector<DashSegmentUrl> list;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() != "SegmentURL")
            continue;
        if (++m_runs > kMaxDashRuns)
            fail("more than " + std::to_string(kMaxDashRuns) + " segments");
        list.push_back({trimmed(it.Attribute("media")), range(it, "mediaRange")});
    }
    if (!list.empty())
        addressing.list = std::make_shared<const std::vector<DashSegmentUrl>>(std::move(list));
}

void Parser::readBase(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::Base;
    readCommon(element, addressing);
    if (const auto index = range(element, "indexRange"))
        addressing.indexRange = index;
}

void Parser::readCommon(const XmlElement& element, DashAddressing& addressing) {
    const XmlAttributes attributes(element, m_url);
    if (const auto timescale = attributes.number("timescale")) {
        if (*timescale == 0 || *timescale > kMaxTimescale)
            attributes.fail("timescale");
        addressing.timescale = *timescale;
    }
    if (const auto offset = attributes.number("presentationTimeOffset"))
        addressing.timeOffset = *offset;
    if (const auto number = attributes.number("startNumber"))
        addressing.startNumber = *number;
    if (const auto number = attributes.number("endNumber"))
        addressing.endNumber = number;
    if (const auto duration = attributes.number("duration")) {
        if (*duration == 0)
            attributes.fail("duration");
        addressing.duration = duration;
    }
    if (const XmlElement init = findChild(element, "Initialization")) {
        addressing.initialization = trimmed(init.Attribute("sourceURL"));
        addressing.initRange = range(init, "range");
        addressing.hasInitialization = true;
    }
    if (const XmlElement timeline = findChild(element, "SegmentTimeline"))
        readTimeline(timeline, addressing);
}

void Parser::readTimeline(const XmlElement& element, DashAddressing& addressing) {
    std::vector<DashRun> runs;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() != "S")
            continue;
        if (++m_runs > kMaxDashRuns)
            fail("more than " + std::to_string(kMaxDashRuns) + " segments");
        const XmlAttributes attributes(it, m_url);
        DashRun run;
        run.time = attributes.number("t");
        run.duration = attributes.number("d").value_or(0);
        run.repeats = attributes.integer("r").value_or(0);
        if (run.duration == 0)
            attributes.fail("d");
        runs.push_back(run);
    }
    addressing.timeline = std::make_shared<const std::vector<DashRun>>(std::move(runs));
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

DashManifest parseDashManifest(const std::string& text, const std::string& url) {
    XmlDocument document(text, url);
    const XmlElement root = document.root();
    if (root.Name() != "MPD")
        throw ToolError(url, "not an MPD: " + inQuotes(root.Name()));
    return Parser(url).parse(root);
}

} // namespace hastool
