// What rules about Smooth Streaming manifests have in common.
#pragma once

#include "Rule.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One look: what there is, and where to put what is found.
struct SmoothLook {
    const RuleCard& card;
    const CheckedDocument& document;
    Findings& findings;

    const ManifestElement& manifest() const { return *document.tree; }
    bool isLive() const;
    std::vector<const ManifestElement*> streams() const { return manifest().all("StreamIndex"); }
    uint64_t timescaleOf(const ManifestElement& stream) const;
    void add(const ManifestElement& element, const std::string& text) const;
};

/// Looks at the last state of a manifest that is there: a fault of a live one is told once.
class SmoothRule : public Rule {
public:
    using Look = SmoothLook;

    explicit SmoothRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override;

protected:
    virtual void look(const Look& look) const = 0;

private:
    const RuleCard& m_card;
};

/// Fragments one after the other, in units of the stream's timescale.
struct SmoothRun {
    const ManifestElement* element = nullptr;
    uint64_t time = 0;
    std::optional<uint64_t> duration; ///< of each; nothing where it is not written
    uint64_t count = 1;

    uint64_t end() const { return time + duration.value_or(0) * count; }
};

/// The fragments of a stream; nothing for values that cannot be read or counted.
std::optional<std::vector<SmoothRun>> smoothRuns(const ManifestElement& stream);
/// "video" of a stream, in lower case.
std::string smoothType(const ManifestElement& stream);
/// Nothing where there is no such attribute, or it is no number.
std::optional<uint64_t> smoothNumber(const ManifestElement& element, const char* name);

} // namespace hastool
