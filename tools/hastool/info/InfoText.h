// What a presentation holds, for people.
#pragma once

#include "PresentationInfo.h"

#include <string>

namespace hastool {

/// Tables of a period's tracks, a kind after the other, within 80 columns; whole lines. URLs are
/// shown by withoutSecrets().
std::string toText(const PresentationInfo& info);

} // namespace hastool
