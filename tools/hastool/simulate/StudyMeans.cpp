#include "StudyMeans.h"

#include <algorithm>
#include <map>
#include <utility>

namespace hastool {
namespace {

using Run = const StudyRun&;

double wastedPart(Run run) {
    const auto wasted = static_cast<double>(run.run.figures.wasted);
    const double all = static_cast<double>(run.run.figures.bytes) + wasted;
    return all > 0 ? wasted / all : 0;
}

/// Rules in the order of their first run.
std::vector<std::string> rulesOf(const std::vector<StudyRun>& runs) {
    std::vector<std::string> rules;
    for (Run it : runs) {
        if (std::find(rules.begin(), rules.end(), it.run.rule) == rules.end())
            rules.push_back(it.run.rule);
    }
    return rules;
}

RuleMeans meansOfRule(const std::string& rule, const std::vector<const StudyRun*>& runs) {
    RuleMeans means{rule, 0, std::vector<double>(studyColumns().size())};
    for (const StudyRun* const it : runs) {
        if (it->run.rule != rule)
            continue;
        ++means.traces;
        for (size_t i = 0; i < means.figures.size(); ++i)
            means.figures[i] += studyColumns()[i].value(*it);
    }
    for (double& it : means.figures)
        it /= static_cast<double>(std::max<size_t>(means.traces, 1));
    return means;
}

void completeSet(SetMeans& set, const std::vector<std::string>& rules) {
    const auto placeOf = [&](const StudyRun* run) {
        return std::find(rules.begin(), rules.end(), run->run.rule);
    };
    std::sort(set.runs.begin(), set.runs.end(), [&](const StudyRun* left, const StudyRun* right) {
        const int order = left->run.trace.compare(right->run.trace);
        return order != 0 ? order < 0 : placeOf(left) < placeOf(right);
    });
    for (const std::string& rule : rules) {
        RuleMeans means = meansOfRule(rule, set.runs);
        set.traces = std::max(set.traces, means.traces);
        if (means.traces > 0)
            set.rules.push_back(std::move(means));
    }
}

} // namespace

const std::vector<StudyColumn>& studyColumns() {
    static const std::vector<StudyColumn> columns = {
        {"score", 3, [](Run run) { return run.run.figures.score; }},
        {"kbit/s", 0, [](Run run) { return run.run.figures.meanBitrate / 1000; }},
        {"utility", 3, [](Run run) { return run.run.figures.utility; }},
        {"stall %", 2, [](Run run) { return run.run.figures.stallRatio * 100; }},
        {"stalls", 2, [](Run run) { return double(run.run.figures.stalls); }},
        {"stall s", 2, [](Run run) { return run.run.figures.stallTime; }},
        {"start s", 2, [](Run run) { return run.run.figures.startup; }},
        {"switches", 1, [](Run run) { return double(run.run.figures.switches); }},
        {"change", 1, [](Run run) { return run.run.figures.change / 1000; }},
        {"given up", 1, [](Run run) { return double(run.run.figures.givenUp); }},
        {"wasted %", 2, [](Run run) { return wastedPart(run) * 100; }},
        {"QoE lin", 0, [](Run run) { return run.qoe.linear; }},
        {"QoE log", 3, [](Run run) { return run.qoe.logarithmic; }},
    };
    return columns;
}

std::vector<SetMeans> meansOf(const std::vector<StudyRun>& runs) {
    std::map<std::pair<std::string, std::string>, SetMeans> sets;
    for (Run it : runs) {
        SetMeans& set = sets[{it.run.set, it.movie}];
        set.set = it.run.set;
        set.movie = it.movie;
        set.runs.push_back(&it);
    }
    const std::vector<std::string> rules = rulesOf(runs);
    std::vector<SetMeans> means;
    for (auto& [key, set] : sets) {
        completeSet(set, rules);
        means.push_back(std::move(set));
    }
    return means;
}

SetMeans overall(const std::vector<SetMeans>& sets) {
    SetMeans all;
    for (const SetMeans& set : sets)
        all.traces += set.traces;
    for (const RuleMeans& first : sets.front().rules) {
        RuleMeans means{first.rule, 0, std::vector<double>(first.figures.size())};
        size_t found = 0;
        for (const SetMeans& set : sets) {
            for (const RuleMeans& it : set.rules) {
                if (it.rule != first.rule)
                    continue;
                ++found;
                means.traces += it.traces;
                for (size_t i = 0; i < means.figures.size(); ++i)
                    means.figures[i] += it.figures[i] / static_cast<double>(sets.size());
            }
        }
        if (found == sets.size())
            all.rules.push_back(std::move(means));
    }
    return all;
}

} // namespace hastool
