#include "CheckPage.h"

#include "Templates.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/PageTemplate.h>
#include <hastool/base/Quantities.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/check/CheckText.h>
#include <hastool/check/RenditionFigures.h>

#include <cmath>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

/// More segments of a rendition are not drawn: the page would take too long to open.
constexpr size_t kMostDrawn = 5000;

std::string shown(const std::string& text) {
    return shownPlace(withoutSecrets(text));
}

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

ordered_json placesOf(const std::vector<Finding>& findings, size_t begin, size_t end,
                      const Findings& all) {
    auto places = ordered_json::array();
    for (size_t i = begin; i < end; ++i) {
        const Finding& it = findings[i];
        const bool isLast = i + 1 == end || findings[i + 1].place.rendition != it.place.rendition;
        const size_t more = isLast ? all.more(*it.rule, it.place.rendition) : 0;
        places.push_back({{"rendition", shown(it.place.rendition)},
                          {"segment", shown(it.place.segment)},
                          {"text", shown(it.text)},
                          {"where", shown(it.place.where)},
                          {"more", more > 0 ? "... and " + std::to_string(more) + " more like it"
                                            : std::string()}});
    }
    return places;
}

/// Findings of the same rule together.
ordered_json rulesData(const Findings& findings) {
    const std::vector<Finding> sorted = findings.sorted();
    auto rules = ordered_json::array();
    for (size_t begin = 0; begin < sorted.size();) {
        size_t end = begin;
        while (end < sorted.size() && sorted[end].rule == sorted[begin].rule)
            ++end;
        const RuleCard& card = *sorted[begin].rule;
        rules.push_back({{"severity", nameOf(card.severity)},
                         {"code", card.code},
                         {"title", card.title},
                         {"clause", card.clause},
                         {"advice", card.advice},
                         {"places", placesOf(sorted, begin, end, findings)}});
        begin = end;
    }
    return rules;
}

ordered_json figuresData(const Evidence& evidence, const Findings& findings) {
    const auto figure = [](const char* name, const std::string& value) {
        return ordered_json{{"name", name}, {"value", value}};
    };
    size_t segments = 0;
    size_t fetched = 0;
    uint64_t bytes = 0;
    for (const CheckedRendition& it : evidence.renditions) {
        const RenditionFigures figures = figuresOf(it);
        segments += figures.segments;
        fetched += figures.fetched;
        bytes += figures.bytes;
    }
    const auto count = [&](Severity severity) { return std::to_string(findings.count(severity)); };
    auto figures = ordered_json::array({figure("errors", count(Severity::Error)),
                                        figure("warnings", count(Severity::Warning)),
                                        figure("notes", count(Severity::Note))});
    figures.push_back(figure("renditions", std::to_string(evidence.renditions.size())));
    figures.push_back(figure("segments looked into",
                             std::to_string(fetched) + " of " + std::to_string(segments)));
    figures.push_back(figure("media", sizeText(static_cast<double>(bytes))));
    return figures;
}

ordered_json tableData(const Evidence& evidence) {
    const auto rate = [](double value) { return value > 0 ? rateText(value) : std::string("-"); };
    auto rows = ordered_json::array();
    for (const CheckedRendition& it : evidence.renditions) {
        const RenditionFigures figures = figuresOf(it);
        rows.push_back(
            {{"name", shown(it.name)},
             {"codecs", it.codecs.empty() ? std::string("-") : it.codecs},
             {"segments",
              std::to_string(figures.fetched) + " of " + std::to_string(figures.segments)},
             {"longest", figures.longest > 0 ? secondsText(figures.longest) : std::string("-")},
             {"peak", rate(figures.peak)},
             {"mean", rate(figures.mean)},
             {"declared", rate(static_cast<double>(it.bandwidth))}});
    }
    return rows;
}

/// The segments that findings name, by rendition.
using Marked = std::set<std::pair<std::string, std::string>>;

Marked markedBy(const Findings& findings) {
    Marked marked;
    for (const Finding& it : findings.all()) {
        if (it.rule->severity != Severity::Note)
            marked.insert({it.place.rendition, it.place.segment});
    }
    return marked;
}

ordered_json chartData(const CheckedRendition& rendition, const Marked& marked) {
    auto segments = ordered_json::array();
    for (const CheckedSegment& it : rendition.segments) {
        if (segments.size() == kMostDrawn)
            break;
        segments.push_back({rounded(it.start), rounded(it.seconds), std::round(rateOf(it)),
                            shown(it.name), marked.count({rendition.name, it.name}) > 0 ? 1 : 0,
                            it.discontinuity ? 1 : 0});
    }
    double target = 0;
    for (const CheckedPlaylist& it : rendition.playlists)
        target = std::max(target, it.playlist.targetSeconds);
    return {{"name", shown(rendition.name)},
            {"group", std::to_string(rendition.period) + "/" + std::to_string(rendition.set)},
            {"declared", rendition.isBandwidthShared ? 0 : rendition.bandwidth},
            {"average", rendition.isBandwidthShared ? 0 : rendition.averageBandwidth},
            {"target", target},
            {"segments", std::move(segments)}};
}

} // namespace

std::string checkPage(const Evidence& evidence, const Findings& findings) {
    const Marked marked = markedBy(findings);
    auto charts = ordered_json::array();
    for (const CheckedRendition& it : evidence.renditions) {
        if (!it.segments.empty())
            charts.push_back(chartData(it, marked));
    }
    const bool hasCharts = !charts.empty();
    return renderPage(kCheckHtml, {{"title", "hastool check"},
                                   {"style", std::string(kReportCss) + kCheckCss},
                                   {"url", shown(evidence.url)},
                                   {"headline", headline(evidence)},
                                   {"cut-short", evidence.cutShort},
                                   {"figures", figuresData(evidence, findings)},
                                   {"rules", rulesData(findings)},
                                   {"rows", tableData(evidence)},
                                   {"charts", hasCharts},
                                   {"data", scriptJson({{"renditions", std::move(charts)}})},
                                   {"script", std::string(kChartsJs) + kCheckJs}});
}

} // namespace hastool
