#include "StudyPage.h"

#include "Templates.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/PageTemplate.h>
#include <hastool/simulate/StudyMeans.h>

#include <cmath>
#include <set>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

std::string titleOf(const SetMeans& set) {
    return set.set.empty() ? "traces" : set.set;
}

ordered_json columnsData() {
    auto columns = ordered_json::array();
    for (const StudyColumn& it : studyColumns())
        columns.push_back({{"column", it.name}, {"digits", it.digits}});
    return columns;
}

ordered_json tableData(const SetMeans& set, const std::string& title, const std::string& movie) {
    auto rows = ordered_json::array();
    for (const RuleMeans& it : set.rules) {
        auto cells = ordered_json::array();
        for (size_t i = 0; i < it.figures.size(); ++i)
            cells.push_back({{"column", studyColumns()[i].name},
                             {"text", fixedText(it.figures[i], studyColumns()[i].digits)}});
        rows.push_back({{"rule", it.rule}, {"count", it.traces}, {"cells", std::move(cells)}});
    }
    return {{"title", title}, {"movie", movie}, {"columns", columnsData()}, {"rows", rows}};
}

/// Where a timeline's values stand in a segment's list; study.js has the same order.
ordered_json segmentsData(const StudyRun& run) {
    auto segments = ordered_json::array();
    for (const SimulatedSegment& it : run.run.segments)
        segments.push_back({rounded(it.begun), rounded(it.time), it.stream, rounded(it.buffer),
                            rounded(it.stalled), it.givenUp});
    return segments;
}

ordered_json runData(const StudyRun& run, bool isDrawn) {
    auto figures = ordered_json::array();
    for (const StudyColumn& it : studyColumns())
        figures.push_back(rounded(it.value(run)));
    ordered_json data = {{"figures", std::move(figures)}};
    if (isDrawn)
        data["segments"] = segmentsData(run);
    return data;
}

/// The runs of a set, by trace and rule.
ordered_json setData(const SetMeans& set, size_t& drawn) {
    ordered_json traces = ordered_json::array();
    for (const StudyRun* const run : set.runs) {
        const bool isDrawn = drawn++ < kMostDrawnRuns;
        if (traces.empty() || traces.back()["name"] != run->run.trace)
            traces.push_back({{"name", run->run.trace},
                              {"line", ordered_json::array()},
                              {"runs", ordered_json::object()}});
        ordered_json& trace = traces.back();
        for (const StudyRun::Rate& it : run->line) {
            if (isDrawn)
                trace["line"].push_back({it.seconds, it.kbps});
        }
        trace["runs"][run->run.rule] = runData(*run, isDrawn);
    }
    return {{"name", titleOf(set)},
            {"bitrates", set.runs.front()->bitrates},
            {"traces", std::move(traces)}};
}

ordered_json rulesData(const std::vector<SetMeans>& sets) {
    auto rules = ordered_json::array();
    std::set<std::string> seen;
    for (const SetMeans& set : sets) {
        for (const RuleMeans& it : set.rules) {
            if (seen.insert(it.rule).second)
                rules.push_back(it.rule);
        }
    }
    return rules;
}

/// "buffer_s 25, hold fit": the options as people read them.
std::string optionsShown(const std::string& options) {
    const auto values = ordered_json::parse(options, nullptr, false);
    std::string shown;
    if (!values.is_object())
        return shown;
    for (const auto& [name, value] : values.items())
        shown += (shown.empty() ? "" : ", ") + name + " " +
                 (value.is_string() ? value.get<std::string>() : value.dump());
    return shown;
}

} // namespace

std::string studyPage(const std::vector<StudyRun>& runs) {
    const std::vector<SetMeans> sets = meansOf(runs);
    auto tables = ordered_json::array();
    auto data = ordered_json::array();
    size_t drawn = 0;
    size_t traces = 0;
    for (const SetMeans& it : sets) {
        tables.push_back(tableData(it, titleOf(it), it.movie));
        data.push_back(setData(it, drawn));
        traces += it.traces;
    }
    if (sets.size() > 1)
        tables.push_back(tableData(overall(sets), "Mean of the sets", ""));
    const ordered_json rules = rulesData(sets);
    const std::string headline = std::to_string(traces) + " traces, " +
                                 std::to_string(rules.size()) + " rules, " +
                                 std::to_string(runs.size()) + " plays";
    const ordered_json all = {{"rules", rules}, {"columns", columnsData()}, {"sets", data}};
    return renderPage(kStudyHtml,
                      {{"title", "hastool simulate"},
                       {"style", std::string(kReportCss) + kStudyCss},
                       {"headline", headline},
                       {"options", optionsShown(runs.empty() ? "" : runs.front().options)},
                       {"cut-short", drawn > kMostDrawnRuns},
                       {"tables", tables},
                       {"data", scriptJson(all)},
                       {"script", std::string(kChartsJs) + kStudyJs}});
}

} // namespace hastool
