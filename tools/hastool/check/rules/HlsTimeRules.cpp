// What media playlists of HLS say of dates, date ranges and the place to begin at.
#include <hastool/base/Quantities.h>
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace hastool {
namespace {

class DateTime : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-time", Severity::Warning, "RFC 8216, 4.3.2.6",
        "The dates of segments contradict their durations",
        "Players that go by the dates seek to the wrong place and put advertisements and events "
        "there. The date of a segment is that of the one before plus its duration, where no "
        "#EXT-X-DISCONTINUITY is between them."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const double target = numberOf(*playlist.lines, "EXT-X-TARGETDURATION").value_or(0);
        const double most = std::max(1.0, target / 2); // dates are of clocks
        bool isKnown = false;
        double expected = 0; // the next date, where it is known
        for (const SegmentLines& segment : segmentsOf(*playlist.lines)) {
            const HlsLine* line = nullptr;
            for (const HlsLine* const tag : segment.tags) {
                isKnown = isKnown && tag->tag != "EXT-X-DISCONTINUITY" && tag->tag != "EXT-X-SKIP";
                line = tag->tag == "EXT-X-PROGRAM-DATE-TIME" ? tag : line;
            }
            const auto date =
                line == nullptr ? std::nullopt : parseIsoDateTime(std::string(line->value));
            const double difference = date.value_or(expected) - expected;
            if (isKnown && std::abs(difference) > most)
                findings.add(playlist, line,
                             exactSeconds(std::abs(difference)) +
                                 (difference < 0 ? " earlier" : " later") +
                                 " than the durations since the date before say");
            isKnown = isKnown || date.has_value();
            expected = date.value_or(expected) + segment.seconds;
        }
    }
};

class DateTimeZone : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-time-zone", Severity::Warning, "RFC 8216, 4.3.2.6", "A date has no time zone",
        "Players take it for UTC or for the viewer's own time: they differ by hours. A Z or an "
        "offset as in +01:00 belongs behind it."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-PROGRAM-DATE-TIME")
                continue;
            const size_t time = line.value.find('T');
            const bool hasZone = time == std::string_view::npos ||
                                 line.value.find_first_of("Zz+-", time) != std::string_view::npos;
            if (hasZone || !parseIsoDateTime(std::string(line.value)))
                continue;
            findings.add(playlist, &line, inQuotes(line.value));
            return; // the others are like it
        }
    }
};

class StartOffset : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-start", Severity::Warning, "RFC 8216, 4.3.5.2",
        "The place to begin at is outside the playlist, or too near its end",
        "Players begin at another place than is meant, or stall at the live edge. TIME-OFFSET "
        "should be within the playlist, and three target durations before the end of a live one."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLines& lines = *playlist.lines;
        const HlsLine* const line = lines.find("EXT-X-START");
        if (line == nullptr || lines.has("EXT-X-SKIP"))
            return;
        std::string_view text = readHlsAttributeLine(line->value).get("TIME-OFFSET");
        const bool isFromEnd = !text.empty() && text.front() == '-';
        const auto offset = parseDecimal(text.substr(isFromEnd ? 1 : 0));
        double duration = 0;
        for (const SegmentLines& segment : segmentsOf(lines))
            duration += segment.seconds;
        if (!offset || duration <= 0)
            return;
        const double target = numberOf(lines, "EXT-X-TARGETDURATION").value_or(0);
        const double toEnd = isFromEnd ? *offset : duration - *offset;
        const bool isLive = !lines.has("EXT-X-ENDLIST") && !lines.has("EXT-X-PART-INF");
        if (*offset > duration)
            findings.add(playlist, line,
                         "at " + exactSeconds(*offset) + " of " + exactSeconds(duration));
        else if (isLive && toEnd < 3 * target)
            findings.add(playlist, line,
                         exactSeconds(toEnd) + " before the end, the target duration is " +
                             exactSeconds(target));
    }
};

/// A rule that looks at date ranges.
class DateRangeRule : public MediaRule {
private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const final {
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-DATERANGE")
                continue;
            const HlsAttributeLine list = readHlsAttributeLine(line.value);
            const std::string text = list.isBroken ? "" : judge(list);
            if (!text.empty())
                findings.add(playlist, &line, inQuotes(list.get("ID")) + ": " + text);
        }
    }

    /// What is wrong with a range; empty where nothing is.
    virtual std::string judge(const HlsAttributeLine& list) const = 0;
};

class DateRangeDate : public DateRangeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-range-date", Severity::Error, "RFC 8216, 4.3.2.7",
        "A date of a date range cannot be read",
        "Players leave the range out, and with it the advertisement or event. Dates are written as "
        "in 2024-01-01T00:00:00.000Z."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsAttributeLine& list) const override {
        for (const char* const name : {"START-DATE", "END-DATE"}) {
            const std::string value(list.get(name));
            if (list.has(name) && !hasVariable(value) && !parseIsoDateTime(value))
                return std::string(name) + " is " + inQuotes(value);
        }
        return "";
    }
};

class DateRangeEnd : public DateRangeRule {
public:
    static constexpr RuleCard kCard = {"hls-date-range-end", Severity::Error, "RFC 8216, 4.3.2.7",
                                       "The end of a date range contradicts its start or duration",
                                       "Players take it for another length, or leave it out. "
                                       "END-DATE is START-DATE plus DURATION, "
                                       "and not before START-DATE."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsAttributeLine& list) const override {
        constexpr double kRounding = 0.0015; // dates have milliseconds
        const auto start = parseIsoDateTime(std::string(list.get("START-DATE")));
        const auto end = parseIsoDateTime(std::string(list.get("END-DATE")));
        if (!start || !end)
            return "";
        if (*end < *start)
            return "it ends " + exactSeconds(*start - *end) + " before it starts";
        const auto duration = numberOf(list, "DURATION");
        if (duration && std::abs(*end - *start - *duration) > kRounding)
            return "it ends " + exactSeconds(*end - *start) + " after its start, DURATION is " +
                   exactSeconds(*duration);
        return "";
    }
};

class DateRangeEndOnNext : public DateRangeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-range-end-on-next", Severity::Error, "RFC 8216, 4.3.2.7",
        "A date range that ends with the next one lacks a class, or has an end of its own",
        "Players do not know when it ends. With END-ON-NEXT there is a CLASS, and neither DURATION "
        "nor END-DATE."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsAttributeLine& list) const override {
        if (list.get("END-ON-NEXT") != "YES")
            return "";
        if (!list.has("CLASS"))
            return "END-ON-NEXT without CLASS";
        if (list.has("DURATION") || list.has("END-DATE"))
            return std::string("END-ON-NEXT beside ") +
                   (list.has("DURATION") ? "DURATION" : "END-DATE");
        return "";
    }
};

/// Date ranges of the same ID.
class DateRangeTwice : public MediaRule {
public:
    static constexpr RuleCard kCard = {"hls-date-range-twice", Severity::Error, "RFC 8216, 4.3.2.7",
                                       "Two tags of one date range contradict each other",
                                       "Players keep the one or the other. Tags of the same ID are "
                                       "of the same range: what both of "
                                       "them say has to be the same."};
    const RuleCard& card() const override { return kCard; }

private:
    using Known = std::map<std::string_view, std::map<std::string_view, std::string_view>>;

    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        Known known;
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-DATERANGE")
                continue;
            const HlsAttributeLine list = readHlsAttributeLine(line.value);
            if (list.get("ID").empty())
                continue;
            auto& values = known[list.get("ID")];
            for (const HlsAttributeText& it : list.attributes) {
                const auto [value, isNew] = values.emplace(it.name, it.value);
                if (!isNew && value->second != it.value)
                    findings.add(playlist, &line,
                                 inQuotes(list.get("ID")) + ": " + inQuotes(it.name) + " is " +
                                     inQuotes(it.value) + ", and was " + inQuotes(value->second));
            }
        }
    }
};

class DateRangeStart : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-range-start", Severity::Error, "RFC 8216, 4.3.2.7", "A date range has no start",
        "Players leave the range out, and with it the advertisement or event. One of the tags with "
        "its ID needs a START-DATE."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        std::map<std::string_view, const HlsLine*> without;
        std::set<std::string_view> with;
        const bool isLive = !playlist.lines->has("EXT-X-ENDLIST");
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-DATERANGE")
                continue;
            const HlsAttributeLine list = readHlsAttributeLine(line.value);
            // The range's first tag may have left a live playlist.
            const bool isLater = isLive && list.has("SCTE35-IN");
            if (list.has("START-DATE") || isLater)
                with.insert(list.get("ID"));
            else if (!list.isBroken)
                without.emplace(list.get("ID"), &line);
        }
        for (const auto& [id, line] : without) {
            if (with.count(id) == 0)
                findings.add(playlist, line, inQuotes(id));
        }
    }
};

class DateRangeAnchor : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-date-range-anchor", Severity::Error, "RFC 8216, 4.3.2.7",
        "A playlist has date ranges, but no date",
        "Players cannot tell where in the media the ranges are. One segment at least needs an "
        "#EXT-X-PROGRAM-DATE-TIME."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* const line = playlist.lines->find("EXT-X-DATERANGE");
        if (line != nullptr && !playlist.lines->has("EXT-X-PROGRAM-DATE-TIME") &&
            !playlist.lines->has("EXT-X-SKIP") && playlist.lines->has("EXTINF"))
            findings.add(playlist, line, "no segment has an #EXT-X-PROGRAM-DATE-TIME");
    }
};

} // namespace

void addHlsTimeRules(Rules& rules) {
    rules.push_back(std::make_unique<DateTime>());
    rules.push_back(std::make_unique<DateTimeZone>());
    rules.push_back(std::make_unique<StartOffset>());
    rules.push_back(std::make_unique<DateRangeDate>());
    rules.push_back(std::make_unique<DateRangeEnd>());
    rules.push_back(std::make_unique<DateRangeEndOnNext>());
    rules.push_back(std::make_unique<DateRangeTwice>());
    rules.push_back(std::make_unique<DateRangeStart>());
    rules.push_back(std::make_unique<DateRangeAnchor>());
}

} // namespace hastool
