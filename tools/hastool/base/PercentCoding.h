// Text in URLs (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

namespace hastool {

/// Text with each escape replaced by its byte. A "%" that begins no escape stays.
std::string percentDecoded(std::string_view text);

/// Text with each byte escaped but letters, digits, "-", ".", "_", "~" and those in `plain`.
std::string percentEncoded(std::string_view text, std::string_view plain = {});

} // namespace hastool
