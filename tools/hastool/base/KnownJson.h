// Numbers that may not be known, in JSON.
#pragma once

#include <optional>

#include <nlohmann/json.hpp>

namespace hastool {

/// A number that is 0 where it is not known: null then.
template<typename Number>
nlohmann::ordered_json knownJson(Number number) {
    return number > 0 ? nlohmann::ordered_json(number) : nlohmann::ordered_json();
}

/// Null for nothing.
inline nlohmann::ordered_json knownJson(const std::optional<double>& number) {
    return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json();
}

} // namespace hastool
