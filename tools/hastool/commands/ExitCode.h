// What the tool returns to its caller.
#pragma once

namespace hastool {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

} // namespace hastool
