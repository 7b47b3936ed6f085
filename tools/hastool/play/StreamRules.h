// The rules of a play by name.
#pragma once

#include "StreamRule.h"

#include <memory>
#include <string>

namespace hastool {

constexpr char kAdaptiveRule[] = "adaptive"; ///< the system's switcher
constexpr char kHybridRule[] = "hybrid";     ///< the one that spends the buffer

/// Makes one of those, or the one of a shared library whose file name ends in ".so", see
/// RuleLibrary.h. One that makes a HybridSegSwitcher is told of transfers, as "hybrid" is.
/// @throws ToolError for another name, or a library that has no rule
std::unique_ptr<StreamRule> makeStreamRule(const std::string& name);

/// Whether makeStreamRule() knows the name; a library is not opened for this.
bool isStreamRule(const std::string& name);

} // namespace hastool
