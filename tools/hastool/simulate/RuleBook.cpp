#include "RuleBook.h"

#include "BolaERule.h"
#include "BolaRule.h"
#include "DynamicRule.h"
#include "FixedRule.h"
#include "ThroughputRule.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/play/StreamRules.h>

#include <optional>
#include <string_view>

namespace hastool {
namespace {

constexpr std::string_view kFixed = "fixed=";
constexpr char kDamping[] = "damping";
constexpr uint64_t kMostStreams = 10000;

/// The stream of "fixed=3".
std::optional<int> fixedStream(const std::string& name) {
    if (name.compare(0, kFixed.size(), kFixed) != 0)
        return std::nullopt;
    const auto stream = parseUnsigned(std::string_view(name).substr(kFixed.size()));
    if (!stream || *stream >= kMostStreams)
        return std::nullopt;
    return static_cast<int>(*stream);
}

} // namespace

bool isRuleValue(const std::string& name) {
    return name == kDamping;
}

std::unique_ptr<StreamRule> makeRule(const std::string& name, const RuleValues& values) {
    const auto damping = values.find(kDamping);
    const bool isDamped = damping != values.end() && damping->second > 0;
    if (isStreamRule(name))
        return makeStreamRule(name);
    if (name == "throughput")
        return std::make_unique<ThroughputRule>();
    if (name == "bola")
        return std::make_unique<BolaRule>(isDamped);
    if (name == "bola-e")
        return std::make_unique<BolaERule>(isDamped);
    if (name == "dynamic")
        return std::make_unique<DynamicRule>(isDamped);
    if (const auto stream = fixedStream(name))
        return std::make_unique<FixedRule>(*stream);
    throw ToolError("--rule", "not a rule: " + inQuotes(name));
}

} // namespace hastool
