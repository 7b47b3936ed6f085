#include "ResourceState.h"

#include <hastool/base/Number.h>

#include <algorithm>

#include <curl/curl.h>

namespace hastool {
namespace {

constexpr long kOk = 200;
constexpr long kPartialContent = 206;
constexpr long kRangeNotSatisfiable = 416;

/// Whether the text can stand in a request as it is.
bool isPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// Strong ETags name one sequence of bytes; W/"..." may name several.
bool isStrong(const std::string& etag) {
    return etag.size() >= 2 && etag.front() == '"' && etag.find('"', 1) == etag.size() - 1 &&
           isPlain(etag);
}

bool isEncoded(const ResponseHead& head) {
    const std::string encoding = head.field("Content-Encoding");
    return !encoding.empty() && encoding != "identity";
}

bool isStrongDate(const std::string& modified, const std::string& date) {
    const auto then = curl_getdate(modified.c_str(), nullptr);
    const auto now = curl_getdate(date.c_str(), nullptr);
    return then > 0 && now > then && isPlain(modified);
}

/// Whether the answer is told to be of another state.
bool contradicts(const ResponseHead& head, const ResourceState& known) {
    const std::string etag = head.field("ETag");
    const std::string date = head.field("Last-Modified");
    if (!known.etag.empty() && !etag.empty())
        return etag != known.etag;
    return !known.date.empty() && !date.empty() && date != known.date;
}

} // namespace

ResourceState stateOf(const ResponseHead& head) {
    ResourceState state;
    if (isEncoded(head))
        return state;
    const std::string etag = head.field("ETag");
    const std::string modified = head.field("Last-Modified");
    if (isStrong(etag))
        state.etag = etag;
    if (etag.empty() && isStrongDate(modified, head.field("Date")))
        state.date = modified;
    state.total = parseUnsigned(head.field("Content-Length"));
    return state;
}

std::optional<ContentRange> parseContentRange(const std::string& text) {
    constexpr std::string_view kUnit = "bytes ";
    const std::string_view view = text;
    const size_t slash = view.find('/');
    if (view.substr(0, kUnit.size()) != kUnit || slash == std::string_view::npos)
        return std::nullopt;
    ContentRange range;
    const std::string_view total = view.substr(slash + 1);
    range.total = parseUnsigned(total);
    if (!range.total && total != "*")
        return std::nullopt;
    const std::string_view bytes = view.substr(kUnit.size(), slash - kUnit.size());
    if (bytes == "*")
        return range.total ? std::optional(range) : std::nullopt;
    const size_t hyphen = bytes.find('-');
    if (hyphen == std::string_view::npos)
        return std::nullopt;
    range.first = parseUnsigned(bytes.substr(0, hyphen));
    const auto last = parseUnsigned(bytes.substr(hyphen + 1));
    if (!range.first || !last || *last < *range.first || (range.total && *last >= *range.total))
        return std::nullopt;
    range.last = *last;
    return range;
}

AnswerFit fitOf(const ResponseHead& head, uint64_t offset, const ResourceState& known) {
    if (head.status() == kOk)
        return AnswerFit::Anew;
    if (head.status() != kPartialContent || offset == 0 || isEncoded(head) ||
        contradicts(head, known))
        return AnswerFit::NotAtAll;
    const auto range = parseContentRange(head.field("Content-Range"));
    if (!range || range->first != offset)
        return AnswerFit::NotAtAll;
    const bool sameTotal = !range->total || !known.total || *range->total == *known.total;
    const bool within = !known.total || range->last < *known.total;
    return sameTotal && within ? AnswerFit::GoesOn : AnswerFit::NotAtAll;
}

std::optional<uint64_t> totalOf(const ResponseHead& head, const ResourceState& known) {
    const auto range = parseContentRange(head.field("Content-Range"));
    return range && range->total ? range->total : known.total;
}

bool saysComplete(const ResponseHead& head, uint64_t offset, const ResourceState& known) {
    if (head.status() != kRangeNotSatisfiable || offset == 0 || contradicts(head, known))
        return false;
    const auto range = parseContentRange(head.field("Content-Range"));
    const bool isAll = range && !range->first && range->total == offset;
    return isAll && (!known.total || *known.total == offset);
}

} // namespace hastool
