#include "Rule.h"

#include "RuleFamilies.h"

namespace hastool {
namespace {

Rules makeRules() {
    Rules rules;
    addHlsSyntaxRules(rules);
    addHlsTagRules(rules);
    addHlsPlaylistRules(rules);
    addHlsTimeRules(rules);
    addHlsPartRules(rules);
    addHlsMasterRules(rules);
    addHlsGroupRules(rules);
    addHlsVariantRules(rules);
    addHlsLiveRules(rules);
    addDashSyntaxRules(rules);
    addDashPeriodRules(rules);
    addDashRules(rules);
    addDashProtectionRules(rules);
    addDashTemplateRules(rules);
    addDashSegmentRules(rules);
    addDashDynamicRules(rules);
    addDashLiveRules(rules);
    addDashTimelineRules(rules);
    addSmoothRules(rules);
    addSmoothTimeRules(rules);
    addDeliveryRules(rules);
    addContentTypeRules(rules);
    addCacheRules(rules);
    addCertificateRules(rules);
    addMediaRules(rules);
    addRateRules(rules);
    addDurationRules(rules);
    addStreamRules(rules);
    addFragmentRules(rules);
    addPlacementRules(rules);
    addVideoRules(rules);
    addProtectionRules(rules);
    addAlignmentRules(rules);
    addPresentationRules(rules); // the last: what others have explained is not told again
    return rules;
}

} // namespace

const Rules& allRules() {
    static const Rules rules = makeRules();
    return rules;
}

Findings judge(const Evidence& evidence) {
    Findings findings;
    for (const auto& rule : allRules())
        rule->check(evidence, findings);
    return findings;
}

} // namespace hastool
