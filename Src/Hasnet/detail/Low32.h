// The low 32 bits of the engine's counters, as its interfaces and log lines carry them.
#pragma once

#include <cstdint>

namespace hascommon::detail {

inline unsigned int low32(long long value) {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(value));
}

inline unsigned int low32(unsigned long long value) {
    return static_cast<std::uint32_t>(value);
}

} // namespace hascommon::detail
