// What a check has found, for people.
#pragma once

#include "Evidence.h"
#include "Finding.h"

#include <string>

namespace hastool {

/// The findings, the worst first, then a table of the renditions and a last line with the counts.
/// URLs are shown by withoutSecrets(); nothing in it controls a terminal.
std::string toText(const Evidence& evidence, const Findings& findings);

/// "2 errors, 1 warning, 3 notes".
std::string countsText(const Findings& findings);

/// Whether a place is in a folder: its name then stands for its URL.
std::string shownPlace(const std::string& place);

/// "HLS, recorded, 42.0 s, 5 renditions, 105 of 105 segments, 10.1 MB".
std::string headline(const Evidence& evidence);

} // namespace hastool
