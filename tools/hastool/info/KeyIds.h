// The key ids in what manifests say of content protection.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A key or system id, in whatever way it was written (with "0x", braces or hyphens or without), as
/// "01234567-89ab-cdef-0123-456789abcdef"; a text that is no such id stays as it is.
std::string uuidText(const std::string& text);

/// The ids in a default_KID: several are divided by blanks.
std::vector<std::string> keyIdsOfList(const std::string& text);

/// The key ids of a PlayReady object, in the order they are written.
/// @return none for other bytes
std::vector<std::string> keyIdsOfPlayReady(std::string_view object);

/// The key ids of a `pssh` box (ISO/IEC 23001-7, 8.1): those that the box lists, or else those in
/// the data of PlayReady and Widevine.
/// @return none for other bytes
std::vector<std::string> keyIdsOfPssh(std::string_view box);

} // namespace hastool
