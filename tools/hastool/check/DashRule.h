// What rules about DASH manifests have in common.
#pragma once

#include "DashView.h"
#include "Rule.h"

#include <string>

namespace hastool {

/// One look: what there is, and where to put what is found.
struct DashLook {
    const RuleCard& card;
    const Evidence& evidence;
    const DashView& view;
    Findings& findings;

    /// Whether there is media that tells how long all of it is: rules about media look at that.
    bool hasMedia() const;
    void add(const ManifestElement& element, const std::string& text) const;
    /// @param element  of it, or above it
    void add(const DashRepresentationView& representation, const ManifestElement& element,
             const std::string& text) const;
};

/// Looks at the last state of a manifest that is there: a fault of a live one is told once.
class DashRule : public Rule {
public:
    explicit DashRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override;

protected:
    using Look = DashLook;

    virtual void look(const Look& look) const = 0;

private:
    const RuleCard& m_card;
};

/// "http://host/a.mpd:12 MPD/Period[1]".
std::string placeInManifest(const CheckedDocument& document, const ManifestElement& element);

/// What people know a representation by: the rendition's name, or else its id.
std::string renditionName(const Evidence& evidence, const DashRepresentationView& representation);

} // namespace hastool
