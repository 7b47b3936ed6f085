// One thing that a check looks for.
#pragma once

#include "Evidence.h"
#include "Finding.h"

#include <memory>
#include <vector>

namespace hastool {

/// A rule looks at what was had of a presentation and says where it is broken. It has no state: one
/// object serves all checks, on any thread.
class Rule {
public:
    virtual ~Rule() = default;

    virtual const RuleCard& card() const = 0;
    virtual void check(const Evidence& evidence, Findings& findings) const = 0;
};

using Rules = std::vector<std::unique_ptr<Rule>>;

/// All rules, family by family.
const Rules& allRules();

/// Lets all rules look.
Findings judge(const Evidence& evidence);

} // namespace hastool
