// Whether declared codecs fit those of the media.
#pragma once

#include <string>

namespace hastool {

/// Whether two codecs (RFC 6381) are of one family: "avc1.4d401f" and "avc3.640028".
bool isSameFamily(const std::string& a, const std::string& b);

/// Whether a decoder that was chosen by a declared codec can decode the media: the same profile of
/// the same family, and no higher level than declared.
/// @param declared  one codec
/// @param measured  of the media
bool covers(const std::string& declared, const std::string& measured);

} // namespace hastool
