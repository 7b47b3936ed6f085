#include "HlsDateRange.h"

#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/Quantities.h>
#include <hastool/formats/SpliceCue.h>

#include <Hascommon/Drm_Common.h>

#include <algorithm>
#include <cctype>

namespace hastool {
namespace {

using Break = TimedEvent::Break;

/// The bytes of a hexadecimal sequence, "0x01AB"; nothing for other text.
std::optional<std::string> bytesOf(const std::string& text) {
    const std::string digits = text.substr(std::min<size_t>(text.size(), 2));
    const bool hasPrefix = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const auto isDigit = [](unsigned char it) { return std::isxdigit(it) != 0; };
    if (!hasPrefix || digits.size() % 2 != 0 || !std::all_of(digits.begin(), digits.end(), isDigit))
        return std::nullopt;
    std::string bytes(digits.size() / 2, '\0');
    hexStringToByte(digits, bytes.data(), static_cast<unsigned int>(bytes.size()));
    return bytes;
}

std::optional<SpliceCue> cueOf(const std::string& text) {
    const auto bytes = bytesOf(text);
    return bytes ? parseSpliceSection(*bytes) : std::nullopt;
}

/// The attribute says what the message means, even where the message cannot be read.
void readCue(const HlsAttributes& list, HlsDateRange& range) {
    struct Kind {
        const char* name;
        Break adBreak;
    };
    constexpr Kind kKinds[] = {
        {"SCTE35-OUT", Break::Begins}, {"SCTE35-IN", Break::Ends}, {"SCTE35-CMD", Break::None}};
    for (const Kind& kind : kKinds) {
        if (!list.has(kind.name))
            continue;
        const auto cue = cueOf(list.get(kind.name));
        range.text = cue ? cue->text : std::string(kind.name) + " that cannot be read";
        range.adBreak = kind.adBreak;
        if (cue && kind.adBreak == Break::None)
            range.adBreak = cue->adBreak;
        if (cue && cue->seconds && !range.planned)
            range.planned = cue->seconds;
        return;
    }
}

std::optional<double> endOf(const HlsAttributes& list, double start) {
    if (list.has("END-DATE")) {
        const auto end = parseIsoDateTime(list.get("END-DATE"));
        return end ? std::optional(std::max(*end, start)) : std::nullopt;
    }
    const auto duration = parseDecimal(list.get("DURATION"));
    return duration ? std::optional(start + *duration) : std::nullopt;
}

} // namespace

std::optional<HlsDateRange> readDateRange(const HlsAttributes& list) {
    const auto start = parseIsoDateTime(list.get("START-DATE"));
    HlsDateRange range;
    range.id = list.get("ID");
    if (range.id.empty() || !start)
        return std::nullopt;
    range.rangeClass = list.get("CLASS");
    range.start = *start;
    range.end = endOf(list, *start);
    range.planned = parseDecimal(list.get("PLANNED-DURATION"));
    readCue(list, range);
    return range;
}

TimedEvent eventOf(const HlsDateRange& range, double origin) {
    TimedEvent event;
    event.origin = "DATERANGE";
    event.scheme = range.rangeClass;
    event.id = range.id;
    event.start = range.start - origin;
    if (range.end)
        event.end = *range.end - origin;
    event.adBreak = range.adBreak;
    event.text = range.text;
    if (!range.end && range.planned)
        event.text +=
            (event.text.empty() ? "" : "; ") + ("planned for " + secondsText(*range.planned));
    return event;
}

} // namespace hastool
