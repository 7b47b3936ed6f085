#include "FaultRules.h"

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <utility>

namespace hastool {
namespace {

constexpr double kMaxStall = 86400; // seconds

/// The rest of a text that begins with `begin`; nothing for another text.
std::optional<std::string> behind(const std::string& text, const std::string& begin) {
    if (text.compare(0, begin.size(), begin) != 0)
        return std::nullopt;
    return text.substr(begin.size());
}

std::optional<Fault> parseFault(const std::string& text) {
    Fault fault;
    if (text == "reset") {
        fault.kind = Fault::Kind::Reset;
        return fault;
    }
    if (const auto stall = behind(text, "stall=")) {
        const auto seconds = parseDecimal(*stall);
        if (!seconds || *seconds > kMaxStall)
            return std::nullopt;
        fault.kind = Fault::Kind::Stall;
        fault.seconds = *seconds;
        return fault;
    }
    const auto truncate = behind(text, "truncate=");
    const auto number = parseUnsigned(truncate.value_or(text));
    if (!number || (!truncate && (*number < 400 || *number > 599)))
        return std::nullopt;
    fault.kind = truncate ? Fault::Kind::Truncate : Fault::Kind::Status;
    if (truncate)
        fault.bytes = *number;
    else
        fault.status = static_cast<int>(*number);
    return fault;
}

[[noreturn]] void fail(const std::string& text, const char* what) {
    throw ToolError("--fault", std::string(what) + ": " + inQuotes(text));
}

} // namespace

FaultRules::FaultRules(const std::vector<std::string>& rules) {
    for (const std::string& rule : rules)
        m_rules.push_back(parse(rule));
}

FaultRules::Rule FaultRules::parse(const std::string& text) {
    const size_t colon = text.rfind(':'); // the last one, as a path may hold colons
    if (colon == std::string::npos)
        fail(text, "not WHICH:WHAT");
    const std::string which = text.substr(0, colon);
    std::string what = text.substr(colon + 1);
    Rule rule;
    if (const auto number = behind(which, "seg="))
        rule.segment = parseUnsigned(*number);
    else
        rule.path = behind(which, "path=").value_or("");
    if (rule.segment.value_or(rule.path.empty() ? 0 : 1) == 0)
        fail(text, "neither seg=N, from 1, nor path=TEXT");
    if (const size_t star = what.find('*'); star != std::string::npos) {
        rule.left = parseUnsigned(what.substr(star + 1));
        if (rule.left.value_or(0) == 0)
            fail(text, "not a number of times behind \"*\"");
        what.resize(star);
    }
    const auto fault = parseFault(what);
    if (!fault)
        fail(text, "neither a status from 400 to 599, reset, stall=SECONDS nor truncate=BYTES");
    rule.fault = *fault;
    return rule;
}

std::optional<Fault> FaultRules::take(const std::string& path,
                                      const std::function<std::optional<uint64_t>()>& segment) {
    std::optional<std::optional<uint64_t>> number; // outer: asked for already; inner: is a segment
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (Rule& rule : m_rules) {
        if (rule.left == uint64_t{0})
            continue;
        if (rule.segment && !number)
            number = segment();
        if (rule.segment ? *number != rule.segment : path.find(rule.path) == std::string::npos)
            continue;
        if (rule.left)
            --*rule.left;
        return rule.fault;
    }
    return std::nullopt;
}

} // namespace hastool
