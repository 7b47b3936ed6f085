// A live manifest against its earlier states.
#pragma once

#include "DashView.h"
#include "Rule.h"

#include <string>
#include <vector>

namespace hastool {

/// Two states of a manifest, one after the other.
struct DashStatePair {
    const RuleCard& card;
    const Evidence& evidence;
    const DashView& before;
    const DashView& after;
    Findings& findings;

    /// @param element  of the later one
    void add(const ManifestElement& element, const std::string& text) const;
    void add(const DashRepresentationView& representation, const ManifestElement& element,
             const std::string& text) const;
};

/// Compares each state that could be read with the one before it.
class DashStatesRule : public Rule {
public:
    using Pair = DashStatePair;

    explicit DashStatesRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override;

protected:
    virtual void compare(const Pair& pair) const = 0;

private:
    const RuleCard& m_card;
};

/// The manifest's states that could be read, in order.
std::vector<const CheckedDocument*> dashStates(const Evidence& evidence);

/// One segment of a timeline.
struct DashListed {
    uint64_t time = 0; ///< in units of the timescale
    uint64_t duration = 0;
    uint64_t number = 0;
    const ManifestElement* element = nullptr;
};

/// A representation's timeline in two states of the manifest.
struct DashTimelines {
    const DashRepresentationView* representation = nullptr; ///< of the later one
    double periodStart = 0;
    DashSegmenting segmenting;
    std::vector<DashListed> before;
    std::vector<DashListed> after;
};

/// The timelines that both states have, with the same scale, without segments whose number is not
/// known.
std::vector<DashTimelines> commonTimelines(const DashStatePair& pair);

/// Segments of a timeline one by one; at most kMaxDashListed of the last ones.
std::vector<DashListed> listSegments(const DashSegmenting& segmenting);
constexpr size_t kMaxDashListed = 20000;

/// What a representation is known by in all states.
std::string dashTrackName(const DashView& view, const DashRepresentationView& representation);

} // namespace hastool
