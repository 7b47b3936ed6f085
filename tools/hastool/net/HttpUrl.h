// URLs that manifests name.
#pragma once

#include <optional>
#include <string>

namespace hastool {

/// The absolute URL of a reference in a document (RFC 3986, section 5).
/// @param base   the document's URL
/// @param where  names the manifest in messages. @throws ToolError for what is not an HTTP URL
std::string resolveHttpUrl(const std::string& base, const std::string& reference,
                           const std::string& where);

/// The value of a query parameter ("?name=value&..."), percent-decoded; nothing when there is none.
std::optional<std::string> queryParameter(const std::string& url, const std::string& name);

} // namespace hastool
