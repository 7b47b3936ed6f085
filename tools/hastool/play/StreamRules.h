// The rules of a play by name.
#pragma once

#include "StreamRule.h"

#include <memory>
#include <string>

namespace hastool {

/// Makes "adaptive", the system's switcher, "hybrid", the one that spends the buffer, or the one of
/// a shared library whose file name ends in ".so".
/// @throws ToolError for another name, or a library that has no rule
std::unique_ptr<StreamRule> makeStreamRule(const std::string& name);

/// Whether makeStreamRule() knows the name; a library is not opened for this.
bool isStreamRule(const std::string& name);

} // namespace hastool
