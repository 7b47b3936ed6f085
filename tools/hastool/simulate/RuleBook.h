// The rules by name.
#pragma once

#include <hastool/play/StreamRule.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace hastool {

/// What was set with --set for the rules, by name.
using RuleValues = std::map<std::string, double>;

/// Whether a rule knows a value of this name.
bool isRuleValue(const std::string& name);

/// Makes the rule of a name: one that play knows (see makeStreamRule()), or a published one:
/// "throughput", "bola", "bola-e", "dynamic", "fixed=N".
/// @throws ToolError for another name
std::unique_ptr<StreamRule> makeRule(const std::string& name, const RuleValues& values);

} // namespace hastool
