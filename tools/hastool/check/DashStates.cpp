#include "DashStates.h"

#include <hastool/base/Quantities.h>

#include "DashRule.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace hastool {

void DashStatePair::add(const ManifestElement& element, const std::string& text) const {
    findings.add(card, {{}, {}, placeInManifest(after.document(), element)}, text);
}

void DashStatePair::add(const DashRepresentationView& representation,
                        const ManifestElement& element, const std::string& text) const {
    findings.add(
        card,
        {renditionName(evidence, representation), {}, placeInManifest(after.document(), element)},
        text);
}

std::vector<const CheckedDocument*> dashStates(const Evidence& evidence) {
    std::vector<const CheckedDocument*> states;
    if (evidence.format != CheckedFormat::Dash)
        return states;
    for (const CheckedDocument& it : evidence.documents) {
        if (it.tree != nullptr && it.trouble.empty() && it.tree->name == "MPD")
            states.push_back(&it);
    }
    return states;
}

void DashStatesRule::check(const Evidence& evidence, Findings& findings) const {
    const auto states = dashStates(evidence);
    for (size_t i = 1; i < states.size(); ++i) {
        if (states[i]->tree == states[i - 1]->tree)
            continue;
        const DashView before(*states[i - 1]);
        const DashView after(*states[i]);
        compare({m_card, evidence, before, after, findings});
    }
}

std::vector<DashListed> listSegments(const DashSegmenting& segmenting) {
    std::vector<DashListed> listed;
    const auto stretches = segmenting.stretches().value_or(std::vector<DashStretch>());
    for (auto it = stretches.rbegin(); it != stretches.rend(); ++it) {
        for (uint64_t i = it->count; i > 0 && listed.size() < kMaxDashListed; --i)
            listed.push_back(
                {it->time + (i - 1) * it->duration, it->duration, it->number + i - 1, it->element});
    }
    std::reverse(listed.begin(), listed.end());
    return listed;
}

std::string dashTrackName(const DashView& view, const DashRepresentationView& representation) {
    const DashPeriodView& period = view.periods()[representation.period];
    const std::string id = period.element->value("id");
    const std::string name = id.empty() ? "at " + exactSeconds(period.start) : "id " + id;
    return name + "\n" + representation.id();
}

std::vector<DashTimelines> commonTimelines(const DashStatePair& pair) {
    std::map<std::string, const DashRepresentationView*> known;
    for (const DashRepresentationView& it : pair.before.representations())
        known[dashTrackName(pair.before, it)] = &it;
    std::vector<DashTimelines> found;
    for (const DashRepresentationView& it : pair.after.representations()) {
        const auto same = known.find(dashTrackName(pair.after, it));
        if (same == known.end())
            continue;
        const DashSegmenting old = same->second->segmenting();
        DashTimelines both;
        both.representation = &it;
        both.periodStart = pair.after.periods()[it.period].start;
        both.segmenting = it.segmenting();
        if (both.segmenting.timeline == nullptr || old.timeline == nullptr ||
            old.timescale != both.segmenting.timescale ||
            old.timeOffset != both.segmenting.timeOffset)
            continue;
        both.before = listSegments(old);
        both.after = listSegments(both.segmenting);
        if (!both.before.empty() && !both.after.empty())
            found.push_back(std::move(both));
    }
    return found;
}

} // namespace hastool
