// Attribute lists of HLS tags (RFC 8216, section 4.2).
#pragma once

#include "HlsVariables.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// NAME=value,NAME="value",... with blanks allowed around the names.
class HlsAttributes {
public:
    /// @return nothing when the text is no attribute list
    static std::optional<HlsAttributes> parse(std::string_view text);

    bool has(const std::string& name) const { return m_values.count(name) > 0; }
    /// The value without its quotation marks; empty when there is none.
    std::string get(const std::string& name) const;
    /// Replaces references to variables by their values in quoted strings and in hexadecimal
    /// sequences, the two kinds of value that may hold references.
    /// @return the `problem` of HlsVariables::substitute(); nothing when all is well
    std::optional<std::string> substitute(HlsVariables& variables);

private:
    struct Value {
        std::string text;
        bool isQuoted = false;
    };

    std::map<std::string, Value> m_values;
};

} // namespace hastool
