#include "PlaySection.h"

#include <hastool/base/Quantities.h>

#include "Templates.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/play/TraceColumn.h>

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

std::string resolutions(const Summary& summary) {
    std::string text;
    for (const PlayedRendition& it : summary.renditions) {
        if (!it.resolution.empty())
            text += (text.empty() ? "" : ", ") + it.resolution;
    }
    return text.empty() ? "not known" : text;
}

ordered_json toJson(const std::vector<PlayRecord::Range>& ranges) {
    auto list = ordered_json::array();
    for (const PlayRecord::Range& it : ranges)
        list.push_back({rounded(it.begin), rounded(it.end)});
    return list;
}

/// Column by column: a long play has many.
ordered_json samplesData(const std::vector<PlaySample>& samples) {
    auto time = ordered_json::array();
    auto bandwidth = time;
    auto mean = time;
    auto buffer = time;
    auto position = time;
    auto bitrate = time;
    for (const PlaySample& it : samples) {
        time.push_back(rounded(it.time));
        bandwidth.push_back(it.bandwidth);
        mean.push_back(it.mean);
        buffer.push_back(rounded(it.buffer));
        position.push_back(rounded(it.position));
        bitrate.push_back(it.bitrate);
    }
    return {{"time", time},     {"bandwidth", bandwidth}, {"mean", mean},
            {"buffer", buffer}, {"position", position},   {"bitrate", bitrate}};
}

ordered_json segmentData(const TraceRow& row) {
    ordered_json data;
    for (const TraceColumn& column : traceColumns()) {
        if (*column.key != '\0')
            data[column.key] = jsonOf(column.value(row));
    }
    return data;
}

std::string cell(const std::string& text, const char* kind = "td") {
    return std::string("<") + kind + ">" + escapeHtml(text) + "</" + kind + ">";
}

std::string numberCell(const std::string& text) {
    return "<td class=\"number\">" + text + "</td>";
}

/// The columns of the table of segments, in their order.
std::vector<TraceColumn> shownColumns() {
    std::vector<TraceColumn> columns;
    for (const TraceColumn& column : traceColumns()) {
        if (column.place > 0)
            columns.push_back(column);
    }
    std::sort(columns.begin(), columns.end(),
              [](const auto& left, const auto& right) { return left.place < right.place; });
    return columns;
}

std::string headings() {
    std::string text;
    for (const TraceColumn& column : shownColumns())
        text += cell(headingOf(column), "th");
    return text + cell("note", "th");
}

std::string valueCell(const TraceColumn& column, const TraceRow& row) {
    const TraceValue value = column.value(row);
    const std::string text = textOf(value);
    if (std::holds_alternative<std::string>(value))
        return cell(text);
    return numberCell(column.zeroIsNone && text == "0" ? "" : text);
}

std::string noteOf(const TraceRow& row) {
    std::string change = row.change;
    if (!row.skipped)
        return change;
    return change.empty() ? "skipped" : change + ", skipped";
}

std::string segmentRow(const std::vector<TraceColumn>& columns, const TraceRow& row) {
    std::string text = "<tr>";
    for (const TraceColumn& column : columns)
        text += valueCell(column, row);
    return text + cell(noteOf(row)) + "</tr>\n";
}

std::string leftOut(uint64_t count, const std::string& what) {
    if (count == 0)
        return "";
    return "<p class=\"note\">" + std::to_string(count) + " more " + what + " are not listed.</p>";
}

std::string segmentRows(const PlayRecord& record) {
    const auto columns = shownColumns();
    std::string text;
    for (const TraceRow& row : record.segments())
        text += segmentRow(columns, row);
    return text;
}

std::string eventRows(const PlayRecord& record) {
    std::string text;
    for (const PlayRecord::Event& it : record.events())
        text += "<tr>" + numberCell(fixedText(it.time, 3)) + cell(it.kind) +
                cell(withoutSecrets(it.what)) + "</tr>\n";
    return text.empty() ? "<tr><td colspan=\"3\">nothing</td></tr>\n" : text;
}

std::string figureItems(const Summary& summary) {
    std::string text;
    for (const auto& [name, value] : playFigures(summary))
        text += "<div>" + cell(name, "dt") + cell(value, "dd") + "</div>\n";
    return text;
}

/// A text that may name URLs.
std::string shown(const std::string& text) {
    return escapeHtml(withoutSecrets(text));
}

std::string urlText(const ReportedPlay& play) {
    const std::string& url = play.summary.url;
    return url == play.title ? "" : "<p class=\"url\">" + shown(url) + "</p>";
}

/// A play that never began has nothing to draw.
std::string charts(const PlayRecord& record) {
    if (record.segments().empty())
        return "<p class=\"note\">Nothing was played, so there is nothing to draw.</p>\n";
    return kChartsHtml;
}

std::string failureText(const std::string& failure) {
    return failure.empty() ? "" : "<p class=\"failure\">It ended early: " + shown(failure) + "</p>";
}

} // namespace

std::vector<std::pair<std::string, std::string>> playFigures(const Summary& s) {
    return {
        {"Played", secondsText(s.played) + " in " + secondsText(s.wallTime)},
        {"To start", secondsText(s.startupTime)},
        {"Stalls", std::to_string(s.stalls) + ", " + secondsText(s.stallTime)},
        {"Mean bitrate", s.meanBitrate > 0 ? rateText(s.meanBitrate) : "not measured"},
        {"Switches",
         std::to_string(s.switchesUp) + " up, " + std::to_string(s.switchesDown) + " down"},
        {"Streams", std::to_string(s.streams) + (s.live ? ", live" : "")},
        {"Segments", std::to_string(s.segments) + ", " + sizeText(static_cast<double>(s.bytes))},
        {"Skipped", std::to_string(s.skipped)},
        {"Downloads", std::to_string(s.downloads) + ", " + std::to_string(s.retries) +
                          (s.retries == 1 ? " retry" : " retries")},
        {"Measured last", s.bandwidth == 0 ? "not measured" : rateText(s.bandwidth)},
        {"Pictures", resolutions(s)},
    };
}

ordered_json playData(const ReportedPlay& play) {
    const PlayRecord& record = play.record;
    auto switches = ordered_json::array();
    for (const PlayRecord::Switch& it : record.switches())
        switches.push_back({rounded(it.time), it.from, it.to});
    auto segments = ordered_json::array();
    for (const TraceRow& row : record.segments())
        segments.push_back(segmentData(row));
    return {{"end", rounded(std::max(record.end(), play.summary.wallTime))},
            {"ladder", play.summary.ladder},
            {"firstBitrate", record.firstBitrate()},
            {"switches", switches},
            {"samples", samplesData(record.samples())},
            {"stalls", toJson(record.stalls())},
            {"pauses", toJson(record.pauses())},
            {"holds", toJson(record.holds())},
            {"segments", segments}};
}

std::string playSection(const ReportedPlay& play, const std::string& id) {
    const PlayRecord& record = play.record;
    return fillTemplate(
        kPlayHtml,
        {{"id", id},
         {"title", shown(play.title)},
         {"url", urlText(play)},
         {"failure", failureText(play.failure)},
         {"figures", figureItems(play.summary)},
         {"charts", charts(record)},
         {"event-count", std::to_string(record.events().size() + record.eventsLeftOut())},
         {"events", eventRows(record)},
         {"events-left-out", leftOut(record.eventsLeftOut(), "events")},
         {"segment-count", std::to_string(record.segments().size() + record.segmentsLeftOut())},
         {"segment-headings", headings()},
         {"segments", segmentRows(record)},
         {"segments-left-out", leftOut(record.segmentsLeftOut(), "segments")},
         {"data", scriptJson(playData(play))}});
}

} // namespace hastool
