// Protection system specific headers (ISO/IEC 23001-7, 8.1).
#pragma once

#include <string>

namespace hastool {

/// Takes the data out of a pssh box, as manifests carry it.
/// @param base64  the box
/// @return the data in base64; empty when the text is no such box
std::string psshPayload(const std::string& base64);

std::string toBase64(const std::string& bytes);

} // namespace hastool
