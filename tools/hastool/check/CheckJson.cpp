#include "CheckJson.h"

#include "CheckText.h"
#include "RenditionFigures.h"
#include <hastool/base/KnownJson.h>
#include <hastool/base/ShownUrl.h>

#include <optional>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

std::string shown(const std::string& text) {
    return shownPlace(withoutSecrets(text));
}

const char* nameOf(CheckedFormat format) {
    if (format == CheckedFormat::Hls)
        return "HLS";
    return format == CheckedFormat::Dash ? "DASH" : "Smooth";
}

const char* nameOf(CheckedRendition::Kind kind) {
    using Kind = CheckedRendition::Kind;
    if (kind == Kind::Video)
        return "video";
    if (kind == Kind::Audio)
        return "audio";
    return kind == Kind::Text ? "text" : "other";
}

ordered_json findingJson(const Finding& finding) {
    return {{"severity", nameOf(finding.rule->severity)},
            {"code", finding.rule->code},
            {"clause", finding.rule->clause},
            {"title", finding.rule->title},
            {"rendition", shown(finding.place.rendition)},
            {"segment", shown(finding.place.segment)},
            {"where", shown(finding.place.where)},
            {"text", shown(finding.text)}};
}

} // namespace

ordered_json toJson(const CheckedRendition& rendition) {
    const RenditionFigures figures = figuresOf(rendition);
    return {{"name", shown(rendition.name)},
            {"kind", nameOf(rendition.kind)},
            {"period", rendition.period + 1},
            {"language", rendition.language},
            {"codecs", rendition.codecs},
            {"width", knownJson(rendition.width)},
            {"height", knownJson(rendition.height)},
            {"declared_bps", knownJson(rendition.bandwidth)},
            {"declared_average_bps", knownJson(rendition.averageBandwidth)},
            {"peak_bps", knownJson(figures.peak)},
            {"mean_bps", knownJson(figures.mean)},
            {"segments", figures.segments},
            {"fetched", figures.fetched},
            {"fetched_s", figures.seconds},
            {"bytes", figures.bytes}};
}

ordered_json toJson(const Evidence& evidence, const Findings& findings) {
    auto renditions = ordered_json::array();
    for (const CheckedRendition& it : evidence.renditions)
        renditions.push_back(toJson(it));
    auto list = ordered_json::array();
    for (const Finding& it : findings.sorted())
        list.push_back(findingJson(it));
    return {
        {"url", shown(evidence.url)},
        {"format", nameOf(evidence.format)},
        {"live", evidence.isLive},
        {"duration_s", knownJson(evidence.duration)},
        {"followed_s", knownJson(evidence.checkedFor)},
        {"cut_short", evidence.cutShort.empty() ? ordered_json() : ordered_json(evidence.cutShort)},
        {"errors", findings.count(Severity::Error)},
        {"warnings", findings.count(Severity::Warning)},
        {"notes", findings.count(Severity::Note)},
        {"findings", std::move(list)},
        {"renditions", std::move(renditions)}};
}

} // namespace hastool
