// One response header line.
#pragma once

#include <string>

namespace hascommon::detail {

/// Whether the line's field name is `name`, in whatever case: HTTP/2 hands names over in lower case
/// (RFC 9113, section 8.2.1).
bool hasFieldName(const std::string& line, const char* name);

/// What stands behind the first colon, without the white space around it.
std::string fieldValue(const std::string& line);

/// A Location header's value as an absolute URL: as it is when it is one, else resolved against the
/// URL that answered (RFC 9110, section 10.2.2); empty when it cannot be resolved.
std::string absoluteLocation(const std::string& answering, const std::string& location);

/// Whether the line is a response's status line.
bool startsHeaders(const std::string& line);

/// Whether the line ends a response's headers.
bool endsHeaders(const std::string& line);

} // namespace hascommon::detail
