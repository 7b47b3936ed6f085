#include "Finding.h"

#include <algorithm>
#include <string_view>

namespace hastool {

const char* nameOf(Severity severity) {
    if (severity == Severity::Error)
        return "error";
    return severity == Severity::Warning ? "warning" : "note";
}

void Findings::add(const RuleCard& rule, FindingPlace place, std::string text) {
    ++m_bySeverity[rule.severity];
    if (++m_counts[{rule.code, place.rendition}] <= kMostAlike)
        m_findings.push_back({&rule, std::move(place), std::move(text)});
}

std::vector<Finding> Findings::sorted() const {
    std::vector<Finding> sorted = m_findings;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
        if (a.rule->severity != b.rule->severity)
            return a.rule->severity > b.rule->severity;
        return std::string_view(a.rule->code) < b.rule->code;
    });
    return sorted;
}

size_t Findings::count(Severity severity) const {
    const auto found = m_bySeverity.find(severity);
    return found == m_bySeverity.end() ? 0 : found->second;
}

size_t Findings::more(const RuleCard& rule, const std::string& rendition) const {
    const auto found = m_counts.find({rule.code, rendition});
    return found == m_counts.end() || found->second < kMostAlike ? 0 : found->second - kMostAlike;
}

} // namespace hastool
