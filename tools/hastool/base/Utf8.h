// UTF-8 (RFC 3629).
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace hastool {

/// Where a text stops being UTF-8; nothing where all of it is. Overlong forms, surrogates and
/// numbers above U+10FFFF are none.
std::optional<size_t> findBadUtf8(std::string_view text);

} // namespace hastool
