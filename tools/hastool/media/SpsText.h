// Parameter sets as a user reads them.
#pragma once

#include "SpsList.h"

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// A block of lines for each set.
std::string toText(const std::vector<SpsInfo>& sets);
/// A list of objects; what is not known is null.
nlohmann::ordered_json toJson(const std::vector<SpsInfo>& sets);

} // namespace hastool
