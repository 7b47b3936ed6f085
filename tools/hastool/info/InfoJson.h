// What a presentation holds, for machines.
#pragma once

#include "PresentationInfo.h"

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// The keys are those that docs/hastool.md lists. What is not known is null. URLs are shown by
/// withoutSecrets().
nlohmann::ordered_json toJson(const PresentationInfo& info);

} // namespace hastool
