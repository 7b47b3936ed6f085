#include "DashAddressingReader.h"

#include "DashSegments.h"
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace hastool {
namespace {

using hascommon::XmlElement;

constexpr uint64_t kMaxTimescale = 1'000'000'000;
constexpr double kMaxOffset = 1e9; // seconds

} // namespace

std::optional<double> availabilityOffset(const XmlAttributes& attributes) {
    std::string text = attributes.text("availabilityTimeOffset");
    if (!text.empty() && text.front() == '+')
        text.erase(0, 1);
    if (text == "INF")
        return std::numeric_limits<double>::infinity();
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, seconds);
    const bool isNumber = result.ec == std::errc() && result.ptr == end;
    return isNumber && std::abs(seconds) <= kMaxOffset ? std::optional(seconds) : std::nullopt;
}

void DashAddressingReader::read(const XmlElement& element, DashAddressing& addressing) {
    const std::string name = element.Name();
    if (name == "SegmentTemplate")
        readTemplate(element, addressing);
    else if (name == "SegmentList")
        readList(element, addressing);
    else if (name == "SegmentBase")
        readBase(element, addressing);
}

void DashAddressingReader::count() {
    if (++m_runs > kMaxDashRuns)
        throw ToolError(m_url, "more than " + std::to_string(kMaxDashRuns) + " segments");
}

std::optional<ByteRange> DashAddressingReader::range(const XmlElement& element,
                                                     const char* name) const {
    if (!element.HasAttribute(name))
        return std::nullopt;
    const XmlAttributes attributes(element, m_url);
    const auto range = parseRange(attributes.text(name));
    if (!range)
        attributes.fail(name);
    return range;
}

void DashAddressingReader::readTemplate(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::Template;
    readCommon(element, addressing);
    if (element.HasAttribute("media"))
        addressing.media = trimmed(element.Attribute("media"));
    if (!element.HasAttribute("initialization"))
        return;
    addressing.initialization = trimmed(element.Attribute("initialization"));
    addressing.initRange.reset();
    addressing.isInitTemplate = true;
    addressing.hasInitialization = true;
}

void DashAddressingReader::readList(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::List;
    readCommon(element, addressing);
    std::vector<DashSegmentUrl> list;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() != "SegmentURL")
            continue;
        count();
        list.push_back({trimmed(it.Attribute("media")), range(it, "mediaRange")});
    }
    if (!list.empty())
        addressing.list = std::make_shared<const std::vector<DashSegmentUrl>>(std::move(list));
}

void DashAddressingReader::readBase(const XmlElement& element, DashAddressing& addressing) {
    addressing.kind = DashAddressing::Kind::Base;
    readCommon(element, addressing);
    if (const auto index = range(element, "indexRange"))
        addressing.indexRange = index;
}

void DashAddressingReader::readCommon(const XmlElement& element, DashAddressing& addressing) {
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
    if (const auto offset = availabilityOffset(attributes))
        addressing.availabilityOffset = *offset;
    const std::string isWhole = attributes.text("availabilityTimeComplete");
    if (!isWhole.empty())
        addressing.isAvailableWhole = isWhole != "false";
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "Initialization") {
            addressing.initialization = trimmed(it.Attribute("sourceURL"));
            addressing.initRange = range(it, "range");
            addressing.isInitTemplate = false;
            addressing.hasInitialization = true;
        } else if (it.Name() == "SegmentTimeline") {
            readTimeline(it, addressing);
        }
    }
}

void DashAddressingReader::readTimeline(const XmlElement& element, DashAddressing& addressing) {
    std::vector<DashRun> runs;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() != "S")
            continue;
        count();
        const XmlAttributes attributes(it, m_url);
        DashRun run;
        run.time = attributes.number("t");
        run.duration = attributes.number("d").value_or(0);
        run.repeats = attributes.integer("r").value_or(0);
        if (run.duration == 0)
            attributes.fail("d");
        runs.push_back(run);
    }
    checkDashTimeline(runs, m_url);
    addressing.timeline = std::make_shared<const std::vector<DashRun>>(std::move(runs));
}

} // namespace hastool
