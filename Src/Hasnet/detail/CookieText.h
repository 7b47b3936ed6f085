// Comparing the texts of cookies and requests.
#pragma once

#include <string>
#include <string_view>

namespace hascommon::detail {

/// Without regard to the case of ASCII letters.
bool equalNoCase(std::string_view a, std::string_view b);

/// The same for texts that may be missing; two missing ones are equal.
bool equalNoCase(const char* a, const char* b);
bool equalExactly(const char* a, const char* b);

std::string upperCase(std::string_view text);

/// Whether `host` is `domain` or ends with it behind a dot.
bool tailMatches(std::string_view domain, std::string_view host);

/// Whether a request for `path`, with or without a query, lies in the cookie's path.
bool pathMatches(std::string_view cookiePath, std::string_view path);

/// A path as requests are matched with it: no quotes around it, "/" in front and none behind.
std::string sanitizePath(std::string_view path);

/// The folder of a request's path, up to its last "/"; empty where there is none.
std::string_view defaultPath(std::string_view requestPath);

} // namespace hascommon::detail
