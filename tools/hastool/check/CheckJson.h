// What a check has found, for machines.
#pragma once

#include "Evidence.h"
#include "Finding.h"

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// The keys are those that docs/hastool.md lists. What is not known is null. URLs are shown by
/// withoutSecrets().
nlohmann::ordered_json toJson(const Evidence& evidence, const Findings& findings);

/// A rendition as it is in there.
nlohmann::ordered_json toJson(const CheckedRendition& rendition);

} // namespace hastool
