// Spans of a caller's clock.
#pragma once

#include <cstdint>

namespace hascommon::detail {

/// 0 where the clock went backwards; any two times do.
inline std::uint64_t millisecondsBetween(std::int64_t from, std::int64_t to) {
    return to <= from ? 0 : static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
}

} // namespace hascommon::detail
