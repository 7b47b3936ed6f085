// URLs that manifests name.
#pragma once

#include <string>

namespace hastool {

/// Takes a reference as one seen in a document (RFC 3986, section 5).
/// @param base   the document's URL
/// @param where  names the manifest in messages. @throws ToolError for what is not an HTTP URL
std::string resolveHttpUrl(const std::string& base, const std::string& reference,
                           const std::string& where);

} // namespace hastool
