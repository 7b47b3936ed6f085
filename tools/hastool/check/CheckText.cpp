#include "CheckText.h"

#include "FolderSource.h"
#include "RenditionFigures.h"
#include <hastool/base/Quantities.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/info/ShownText.h>
#include <hastool/info/TextTable.h>

#include <string_view>

namespace hastool {
namespace {

std::string shown(const std::string& text) {
    return shownText(shownPlace(withoutSecrets(text)));
}

std::string countText(size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

const char* nameOf(CheckedFormat format) {
    if (format == CheckedFormat::Hls)
        return "HLS";
    return format == CheckedFormat::Dash ? "DASH" : "Smooth Streaming";
}

/// "640x360, 1050 kbit/s, segment 4: "; empty where it is about all.
std::string whoseText(const FindingPlace& place) {
    std::string text = shown(place.rendition);
    if (!place.segment.empty())
        text += (text.empty() ? "" : ", ") + shown(place.segment);
    return text.empty() ? text : text + ": ";
}

/// Findings of one rule stand below one head.
class FindingList {
public:
    explicit FindingList(const Findings& findings)
        : m_findings(findings) {}

    std::string text() {
        for (const Finding& finding : m_findings.sorted()) {
            if (m_rule != finding.rule)
                beginRule(*finding.rule);
            else if (m_rendition != finding.place.rendition)
                endRendition();
            m_rendition = finding.place.rendition;
            add(finding);
        }
        endRendition();
        return m_text;
    }

private:
    void beginRule(const RuleCard& rule) {
        endRendition();
        m_text += m_text.empty() ? "" : "\n";
        m_rule = &rule;
        m_text += std::string(nameOf(rule.severity)) + "  " + rule.code + "  (" + rule.clause +
                  ")\n  " + rule.title + "\n";
    }
    void endRendition() {
        if (m_rule == nullptr)
            return;
        if (const size_t more = m_findings.more(*m_rule, m_rendition); more > 0)
            m_text += "    ... and " + std::to_string(more) + " more like it\n";
    }
    void add(const Finding& finding) {
        m_text += "    " + whoseText(finding.place) + shown(finding.text) + "\n";
        if (!finding.place.where.empty())
            m_text += "      " + shown(finding.place.where) + "\n";
    }

    const Findings& m_findings;
    const RuleCard* m_rule = nullptr;
    std::string m_rendition;
    std::string m_text;
};

std::string renditionTable(const Evidence& evidence) {
    TextTable table({{"rendition", false},
                     {"segments", true},
                     {"longest", true},
                     {"peak", true},
                     {"mean", true},
                     {"declared", true}});
    for (const CheckedRendition& it : evidence.renditions) {
        const RenditionFigures figures = figuresOf(it);
        std::string count = std::to_string(figures.segments);
        if (figures.fetched < figures.segments)
            count = std::to_string(figures.fetched) + " of " + count;
        const auto rate = [](double value) { return value > 0 ? rateText(value) : ""; };
        table.add({shown(it.name), count, figures.longest > 0 ? secondsText(figures.longest) : "",
                   rate(figures.peak), rate(figures.mean),
                   rate(static_cast<double>(it.bandwidth))});
    }
    return evidence.renditions.empty() ? "" : "\n" + table.text();
}

} // namespace

std::string shownPlace(const std::string& place) {
    constexpr std::string_view kFolder = FolderSource::kUrl;
    std::string text = place;
    for (size_t at = text.find(kFolder); at != std::string::npos; at = text.find(kFolder, at))
        text.erase(at, kFolder.size());
    return text;
}

std::string countsText(const Findings& findings) {
    return countText(findings.count(Severity::Error), "error") + ", " +
           countText(findings.count(Severity::Warning), "warning") + ", " +
           countText(findings.count(Severity::Note), "note");
}

std::string headline(const Evidence& evidence) {
    if (evidence.renditions.empty() && !evidence.documents.empty() &&
        !evidence.documents.front().answer.ok)
        return "no manifest could be had";
    size_t segments = 0;
    size_t fetched = 0;
    double bytes = 0;
    for (const CheckedRendition& it : evidence.renditions) {
        const RenditionFigures figures = figuresOf(it);
        segments += figures.segments;
        fetched += figures.fetched;
        bytes += static_cast<double>(figures.bytes);
    }
    std::string text = nameOf(evidence.format);
    text += evidence.isLive || evidence.checkedFor > 0 ? ", live" : ", recorded";
    if (evidence.checkedFor > 0)
        text += ", followed for " + secondsText(evidence.checkedFor);
    else if (evidence.duration)
        text += ", " + secondsText(*evidence.duration);
    text += ", " + countText(evidence.renditions.size(), "rendition");
    text += ", " + std::to_string(fetched) + " of " + countText(segments, "segment");
    return fetched > 0 ? text + ", " + sizeText(bytes) : text;
}

std::string toText(const Evidence& evidence, const Findings& findings) {
    std::string text = shown(evidence.url) + "\n" + headline(evidence) + "\n";
    const std::string list = FindingList(findings).text();
    text += list.empty() ? "" : "\n" + list;
    text += renditionTable(evidence);
    return text + "\n" + countsText(findings) + "\n";
}

} // namespace hastool
