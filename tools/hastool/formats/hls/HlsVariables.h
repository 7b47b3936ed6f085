// Variables of HLS playlists (RFC 8216bis, sections 4.3 and 4.4.2.3).
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// The most bytes that variables may put into one playlist: without a limit, a few lines of text
/// could fill all memory.
constexpr size_t kMaxHlsGrowth = 16u << 20;

/// What EXT-X-DEFINE has defined.
class HlsVariables {
public:
    /// @return false when there is a variable of that name, which keeps its value
    bool define(const std::string& name, const std::string& value);
    std::optional<std::string> find(const std::string& name) const;

    /// Replaces every reference ("{$name}") by its value; references within a value stay.
    /// @param problem  receives what is wrong
    /// @return nothing for a name without a variable, and when the values put in by all calls come
    ///         to more than kMaxHlsGrowth bytes
    std::optional<std::string> substitute(std::string_view text, std::string& problem);

private:
    std::map<std::string, std::string> m_values;
    size_t m_grown = 0; ///< bytes that were put in
};

/// Whether a text can be the name of a variable.
bool isHlsVariableName(std::string_view text);

} // namespace hastool
