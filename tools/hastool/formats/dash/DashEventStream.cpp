#include "DashEventStream.h"

#include <hastool/base/Base64.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/SpliceCue.h>

namespace hastool {
namespace {

using hascommon::XmlElement;

/// The first element of a name in an element, at any depth; one that is false where there is none.
/// The elements of cue messages lie three deep at most.
XmlElement findInside(const XmlElement& element, const std::string& name, int depth = 4) {
    if (depth == 0)
        return {};
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == name)
            return it;
        if (XmlElement found = findInside(it, name, depth - 1))
            return found;
    }
    return {};
}

bool isTrue(const std::string& value) {
    return value == "true" || value == "1";
}

/// The numbers of cue messages in XML count in units of their clock.
std::optional<double> spliceSeconds(const XmlElement& element, const char* name,
                                    const std::string& url) {
    const auto units = element ? XmlAttributes(element, url).number(name) : std::nullopt;
    return units ? std::optional(static_cast<double>(*units) / kSpliceClock) : std::nullopt;
}

/// A cue message written as elements (ANSI/SCTE 35, clause 11).
SpliceCue cueOfElements(const XmlElement& event, const std::string& url) {
    SpliceCue cue;
    if (const XmlElement insert = findInside(event, "SpliceInsert")) {
        const bool isOut = isTrue(insert.Attribute("outOfNetworkIndicator"));
        cue.adBreak = isOut ? TimedEvent::Break::Begins : TimedEvent::Break::Ends;
        cue.seconds = spliceSeconds(findInside(insert, "BreakDuration"), "duration", url);
        cue.text = "splice insert " + insert.Attribute("spliceEventId");
    } else if (const XmlElement it = findInside(event, "SegmentationDescriptor")) {
        const auto type = XmlAttributes(it, url).number("segmentationTypeId").value_or(0);
        cue.adBreak =
            type < 256 ? breakOfSegmentation(static_cast<unsigned>(type)) : TimedEvent::Break::None;
        cue.seconds = spliceSeconds(it, "segmentationDuration", url);
        cue.text = "segmentation " + it.Attribute("segmentationEventId") + " of type " +
                   std::to_string(type);
    }
    return cue;
}

void readSplice(const XmlElement& element, TimedEvent& event, const std::string& url) {
    if (const XmlElement binary = findInside(element, "Binary"))
        addSpliceCue(event, fromBase64(withoutBlanks(binary.Text())).value_or(""));
    else
        addSpliceCue(event, cueOfElements(element, url));
}

/// What all events of a stream share.
struct Stream {
    std::string scheme;
    std::string value;
    double timescale = 1;
    double offset = 0; ///< units of the timescale at the begin of the period
};

TimedEvent readEvent(const XmlElement& element, const Stream& stream, size_t number,
                     const std::string& url) {
    const XmlAttributes attributes(element, url);
    TimedEvent event;
    event.origin = "EventStream";
    event.scheme = stream.scheme;
    event.id = stream.value + "/" + element.Attribute("id");
    if (!element.HasAttribute("id"))
        event.id += "#" + std::to_string(number);
    const auto time = static_cast<double>(attributes.number("presentationTime").value_or(0));
    event.start = (time - stream.offset) / stream.timescale;
    if (const auto duration = attributes.number("duration"))
        event.end = event.start + static_cast<double>(*duration) / stream.timescale;
    event.text = trimmed(element.HasAttribute("messageData") ? element.Attribute("messageData")
                                                             : element.Text());
    if (isSpliceScheme(stream.scheme))
        readSplice(element, event, url);
    return event;
}

} // namespace

std::vector<TimedEvent> readEventStream(const XmlElement& element, const std::string& url,
                                        std::vector<std::string>& problems) {
    std::vector<TimedEvent> events;
    const auto leaveOut = [&](const std::string& why) {
        problems.push_back(why + "; an event of " + inQuotes(element.Attribute("schemeIdUri")) +
                           " and those behind it are left out");
    };
    try {
        const XmlAttributes attributes(element, url);
        Stream stream;
        stream.scheme = attributes.text("schemeIdUri");
        stream.value = attributes.text("value");
        stream.timescale = static_cast<double>(attributes.number("timescale").value_or(1));
        stream.offset =
            static_cast<double>(attributes.number("presentationTimeOffset").value_or(0));
        if (stream.timescale == 0)
            attributes.fail("timescale");
        for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
            if (it.Name() != "Event")
                continue;
            if (events.size() == kMaxDashEvents) {
                leaveOut(url + ": more than " + std::to_string(kMaxDashEvents) + " events");
                break;
            }
            events.push_back(readEvent(it, stream, events.size(), url));
        }
    } catch (const ToolError& error) {
        leaveOut(error.what());
    }
    return events;
}

} // namespace hastool
