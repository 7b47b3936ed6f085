#include "DashRule.h"

#include <algorithm>

namespace hastool {

std::string placeInManifest(const CheckedDocument& document, const ManifestElement& element) {
    const Answer& answer = document.answer;
    const std::string& url = answer.finalUrl.empty() ? answer.resource.url : answer.finalUrl;
    return url + ":" + std::to_string(element.line) + " " + element.path();
}

std::string renditionName(const Evidence& evidence, const DashRepresentationView& representation) {
    const std::string id = representation.id();
    const auto found = std::find_if(evidence.renditions.begin(), evidence.renditions.end(),
                                    [&](const CheckedRendition& it) {
                                        return it.id == id && it.period == representation.period;
                                    });
    return found != evidence.renditions.end() ? found->name : id;
}

void DashRule::check(const Evidence& evidence, Findings& findings) const {
    if (evidence.format != CheckedFormat::Dash)
        return;
    const auto last = std::find_if(
        evidence.documents.rbegin(), evidence.documents.rend(),
        [](const CheckedDocument& it) { return it.tree != nullptr && it.tree->name == "MPD"; });
    if (last == evidence.documents.rend())
        return;
    const DashView view(*last);
    look({m_card, evidence, view, findings});
}

bool DashLook::hasMedia() const {
    return std::any_of(evidence.renditions.begin(), evidence.renditions.end(),
                       [](const CheckedRendition& it) { return it.isWhole(); });
}

void DashLook::add(const ManifestElement& element, const std::string& text) const {
    findings.add(card, {{}, {}, placeInManifest(view.document(), element)}, text);
}

void DashLook::add(const DashRepresentationView& representation, const ManifestElement& element,
                   const std::string& text) const {
    findings.add(
        card,
        {renditionName(evidence, representation), {}, placeInManifest(view.document(), element)},
        text);
}

} // namespace hastool
