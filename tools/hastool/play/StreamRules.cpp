#include "StreamRules.h"

#include "HybridRule.h"
#include "RuleLibrary.h"
#include "SwitcherRule.h"
#include <hastool/base/ToolError.h>

#include <Hasnet/AdaptiveSegSwitcher.h>

#include <string_view>
#include <utility>

namespace hastool {
namespace {

bool isLibraryName(const std::string& name) {
    constexpr std::string_view kEnd = ".so";
    return name.size() > kEnd.size() &&
           name.compare(name.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

/// A hybrid one is told of transfers; the others look at the traffic only.
std::unique_ptr<StreamRule> ruleOf(std::shared_ptr<hascommon::IBitrateSwitcher> switcher) {
    if (auto hybrid = std::dynamic_pointer_cast<hascommon::HybridSegSwitcher>(switcher))
        return std::make_unique<HybridRule>(std::move(hybrid));
    return std::make_unique<SwitcherRule>(std::move(switcher));
}

} // namespace

std::unique_ptr<StreamRule> makeStreamRule(const std::string& name) {
    if (name == kAdaptiveRule)
        return ruleOf(std::make_shared<hascommon::AdaptiveSegSwitcher>());
    if (name == kHybridRule)
        return ruleOf(std::make_shared<hascommon::HybridSegSwitcher>());
    if (isLibraryName(name))
        return ruleOf(loadSwitcher(name));
    throw ToolError("--rule", "no such rule: " + inQuotes(name));
}

bool isStreamRule(const std::string& name) {
    return name == kAdaptiveRule || name == kHybridRule || isLibraryName(name);
}

} // namespace hastool
