#include "HlsParts.h"

#include <hastool/base/Number.h>

#include <cmath>
#include <limits>
#include <utility>

namespace hastool {
namespace {

constexpr double kMaxSeconds = 3600; // of a part, and of a distance to the end
constexpr double kTolerance = 0.25;  // of a part: durations are rounded

std::optional<double> secondsOf(const HlsAttributes& list, const char* name) {
    const auto seconds = parseDecimal(list.get(name));
    return seconds && *seconds <= kMaxSeconds ? seconds : std::nullopt;
}

/// "LENGTH@OFFSET" or "LENGTH".
std::optional<ByteRange> rangeOf(const std::string& text, bool& hasOffset) {
    const size_t at = text.find('@');
    hasOffset = at != std::string::npos;
    const auto length = parseUnsigned(text.substr(0, at));
    const auto first = hasOffset ? parseUnsigned(text.substr(at + 1)) : uint64_t{0};
    if (!length || !first || *length > std::numeric_limits<uint64_t>::max() - *first)
        return std::nullopt;
    return ByteRange{*first, length};
}

} // namespace

void HlsPartReader::onPartInf(const HlsAttributes& list) {
    m_result.partTarget = secondsOf(list, "PART-TARGET").value_or(0);
}

void HlsPartReader::onServerControl(const HlsAttributes& list) {
    m_result.canBlock = list.get("CAN-BLOCK-RELOAD") == "YES";
    m_result.holdBack = secondsOf(list, "HOLD-BACK");
    m_result.partHoldBack = secondsOf(list, "PART-HOLD-BACK");
}

/// A range without an offset goes on where the part before it ended.
std::optional<HlsPart> HlsPartReader::read(const HlsAttributes& list) const {
    HlsPart part;
    part.uri = list.get("URI");
    part.independent = list.get("INDEPENDENT") == "YES";
    part.gap = list.get("GAP") == "YES";
    if (part.uri.empty())
        return std::nullopt;
    const bool follows = !m_parts.empty() && m_parts.back().uri == part.uri;
    const auto& before = follows ? m_parts.back().range : part.range;
    const uint64_t end = before ? before->first + before->length.value_or(0) : 0;
    if (!list.has("BYTERANGE"))
        return follows ? std::nullopt : std::optional(part); // the same bytes twice
    bool hasOffset = false;
    part.range = rangeOf(list.get("BYTERANGE"), hasOffset);
    if (!part.range || *part.range->length == 0)
        return std::nullopt;
    if (!hasOffset)
        part.range->first = end;
    const bool isBehind = part.range->first >= end;
    const bool fits =
        *part.range->length <= std::numeric_limits<uint64_t>::max() - part.range->first;
    return isBehind && fits ? std::optional(part) : std::nullopt;
}

void HlsPartReader::onPart(const HlsAttributes& list) {
    auto part = read(list);
    const auto seconds = secondsOf(list, "DURATION");
    if (!part || !seconds || *seconds <= 0 || ++m_count > kMaxParts) {
        m_isBroken = true;
        return;
    }
    part->seconds = *seconds;
    m_parts.push_back(std::move(*part));
}

void HlsPartReader::onHint(const HlsAttributes& list) {
    if (list.get("TYPE") != "PART" || list.get("URI").empty())
        return;
    HlsPart hint;
    hint.uri = list.get("URI");
    if (list.has("BYTERANGE-START"))
        hint.range = ByteRange{parseUnsigned(list.get("BYTERANGE-START")).value_or(0),
                               parseUnsigned(list.get("BYTERANGE-LENGTH"))};
    m_result.hint = std::move(hint);
}

void HlsPartReader::onReport(const HlsAttributes& list) {
    const auto sequence = parseUnsigned(list.get("LAST-MSN"));
    if (!sequence || list.get("URI").empty() || m_result.reports.size() == kMaxReports)
        return;
    m_result.reports.push_back({list.get("URI"), *sequence, parseUnsigned(list.get("LAST-PART"))});
}

std::vector<HlsPart> HlsPartReader::takeParts(std::optional<double> seconds) {
    std::vector<HlsPart> parts = std::exchange(m_parts, {});
    double sum = 0;
    for (const HlsPart& it : parts)
        sum += it.seconds;
    const bool contradicts =
        seconds && !parts.empty() && std::abs(sum - *seconds) > kTolerance * m_result.partTarget;
    if (!std::exchange(m_isBroken, false) && !contradicts)
        return parts;
    m_hasContradiction = true;
    return {};
}

} // namespace hastool
