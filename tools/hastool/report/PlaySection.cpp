#include "PlaySection.h"

#include "Templates.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/PageTemplate.h>
#include <hastool/base/Quantities.h>
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

/// Column by column, as a long play has too many samples to repeat the names for each.
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

/// Milliseconds; none of what an attempt did not come to.
ordered_json millis(double seconds) {
    return seconds > 0 ? ordered_json(rounded(seconds * 1000)) : ordered_json();
}

ordered_json attemptsData(const std::vector<Attempt>& attempts) {
    auto list = ordered_json::array();
    for (const Attempt& it : attempts)
        list.push_back({{"result", it.result},
                        {"peer", it.peer},
                        {"cache", withoutSecrets(it.cache)},
                        {"lookup", millis(it.lookup)},
                        {"connect", millis(it.connect)},
                        {"tls", millis(it.tls)},
                        {"firstByte", millis(it.firstByte)},
                        {"end", millis(it.end)},
                        {"bytes", it.bytes}});
    return list;
}

ordered_json segmentData(const TraceRow& row) {
    ordered_json data;
    for (const TraceColumn& column : traceColumns()) {
        if (*column.key != '\0')
            data[column.key] = jsonOf(column.value(row));
    }
    if (row.givenUp > 0) { // of most segments nothing is
        data["givenUp"] = row.givenUp;
        data["wasted"] = row.wasted;
    }
    data["url"] = withoutSecrets(row.url);
    data["attempts"] = attemptsData(row.attempts);
    return data;
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

std::string noteOf(const TraceRow& row) {
    std::string note = row.change;
    const auto add = [&](const std::string& text) { note += (note.empty() ? "" : ", ") + text; };
    if (row.givenUp > 0)
        add("given up " + (row.givenUp == 1 ? "once" : std::to_string(row.givenUp) + " times") +
            ", " + sizeText(static_cast<double>(row.wasted)) + " wasted");
    if (row.skipped)
        add("skipped");
    return note;
}

ordered_json headings(const std::vector<TraceColumn>& columns) {
    auto list = ordered_json::array();
    for (const TraceColumn& column : columns)
        list.push_back({{"heading", headingOf(column)}});
    return list;
}

ordered_json cellOf(const TraceColumn& column, const TraceRow& row) {
    const TraceValue value = column.value(row);
    const std::string text = textOf(value);
    return {{"number", !std::holds_alternative<std::string>(value)},
            {"text", column.zeroIsNone && (text == "0" || text == "0.000") ? "" : text}};
}

ordered_json segmentRows(const std::vector<TraceColumn>& columns, const PlayRecord& record) {
    auto rows = ordered_json::array();
    for (const TraceRow& row : record.segments()) {
        auto cells = ordered_json::array();
        for (const TraceColumn& column : columns)
            cells.push_back(cellOf(column, row));
        rows.push_back({{"cells", std::move(cells)}, {"note", noteOf(row)}});
    }
    return rows;
}

ordered_json eventRows(const PlayRecord& record) {
    auto rows = ordered_json::array();
    for (const PlayRecord::Event& it : record.events())
        rows.push_back({{"time", fixedText(it.time, 3)},
                        {"kind", it.kind},
                        {"what", withoutSecrets(it.what)}});
    return rows;
}

ordered_json figureItems(const Summary& summary) {
    auto list = ordered_json::array();
    for (const auto& [name, value] : playFigures(summary))
        list.push_back({{"name", name}, {"value", value}});
    return list;
}

/// Empty for 0.
std::string countText(uint64_t count) {
    return count == 0 ? "" : std::to_string(count);
}

} // namespace

std::vector<std::pair<std::string, std::string>> playFigures(const Summary& s) {
    std::vector<std::pair<std::string, std::string>> figures = {
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
    if (s.givenUp > 0)
        figures.emplace_back("Given up", std::to_string(s.givenUp) +
                                             (s.givenUp == 1 ? " transfer, " : " transfers, ") +
                                             sizeText(static_cast<double>(s.wasted)) + " wasted");
    if (s.liveDistance > 0)
        figures.emplace_back("Live edge", secondsText(s.liveDistance) + " behind on average");
    return figures;
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
    const std::string& url = play.summary.url;
    const auto columns = shownColumns();
    const bool isDrawn = !record.segments().empty(); // a play that never began has nothing to draw
    return renderPage(
        kPlayHtml,
        {{"id", id},
         {"title", withoutSecrets(play.title)},
         {"url", url == play.title ? "" : withoutSecrets(url)},
         {"failure", withoutSecrets(play.failure)},
         {"figures", figureItems(play.summary)},
         {"charts", isDrawn ? kChartsHtml : ""},
         {"event-count", std::to_string(record.events().size() + record.eventsLeftOut())},
         {"events", eventRows(record)},
         {"events-left-out", countText(record.eventsLeftOut())},
         {"segment-count", std::to_string(record.segments().size() + record.segmentsLeftOut())},
         {"headings", headings(columns)},
         {"segments", segmentRows(columns, record)},
         {"segments-left-out", countText(record.segmentsLeftOut())},
         {"data", scriptJson(playData(play))}});
}

} // namespace hastool
