#include "Validators.h"

#include <array>
#include <charconv>
#include <ctime>
#include <optional>

#include <sys/stat.h>

namespace hastool {
namespace {

/// The date of a header, in the three forms that recipients read (RFC 9110, 5.6.7).
std::optional<int64_t> parseDate(const std::string& text) {
    for (const char* const form :
         {"%a, %d %b %Y %H:%M:%S GMT", "%A, %d-%b-%y %H:%M:%S GMT", "%a %b %d %H:%M:%S %Y"}) {
        std::tm time{};
        const char* const end = strptime(text.c_str(), form, &time);
        if (end != nullptr && *end == '\0')
            return timegm(&time);
    }
    return std::nullopt;
}

std::string hexOf(uint64_t value) {
    std::array<char, 16> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, 16);
    return {text.data(), end.ptr};
}

} // namespace

Validators::Validators(const std::filesystem::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0)
        return;
    m_modified = status.st_mtim.tv_sec;
    m_etag = "\"" + hexOf(static_cast<uint64_t>(m_modified)) + "." +
             hexOf(static_cast<uint64_t>(status.st_mtim.tv_nsec)) + "-" +
             hexOf(static_cast<uint64_t>(status.st_size)) + "\"";
}

Validators::Validators(std::string etag, int64_t modified)
    : m_etag(std::move(etag))
    , m_modified(modified) {}

std::string Validators::lastModified() const {
    std::tm time{};
    const auto seconds = static_cast<time_t>(m_modified);
    gmtime_r(&seconds, &time);
    std::array<char, 64> text{};
    const size_t size = strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &time);
    return {text.data(), size};
}

/// @param isWeak  whether a tag marked as weak may match
bool Validators::isListed(const std::string& list, bool isWeak) const {
    if (list == "*")
        return true;
    for (size_t at = 0; (at = list.find('"', at)) != std::string::npos;) {
        const size_t end = list.find('"', at + 1);
        if (end == std::string::npos)
            return false;
        const bool isMarked = at >= 2 && list.compare(at - 2, 2, "W/") == 0;
        if ((isWeak || !isMarked) && list.compare(at, end + 1 - at, m_etag) == 0)
            return true;
        at = end + 1;
    }
    return false;
}

Validators::Verdict Validators::judge(const Header& header) const {
    if (m_etag.empty())
        return Verdict::Go;
    const std::string match = header("If-Match");
    const auto unmodified = parseDate(header("If-Unmodified-Since"));
    if (match.empty() ? unmodified && m_modified > *unmodified : !isListed(match, false))
        return Verdict::Failed;
    const std::string noneMatch = header("If-None-Match");
    const auto modified = parseDate(header("If-Modified-Since"));
    if (noneMatch.empty() ? modified && m_modified <= *modified : isListed(noneMatch, true))
        return Verdict::NotModified;
    return Verdict::Go;
}

bool Validators::allowsRange(const Header& header) const {
    const std::string condition = header("If-Range");
    if (condition.empty() || m_etag.empty())
        return true;
    if (condition.find('"') != std::string::npos)
        return condition == m_etag; // exactly one tag, which must not be weak
    const auto date = parseDate(condition);
    return date && *date == m_modified;
}

} // namespace hastool
