// The download engine's codes in words.
#pragma once

#include <string>

namespace hastool {

/// What a unit code and the last response's status mean: "HTTP 404 (code -23)", "host not resolved
/// (code -17)".
std::string resultText(int code, long httpStatus);

} // namespace hastool
