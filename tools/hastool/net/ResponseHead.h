// A response's header as the engine tells it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Status and fields of a response.
class ResponseHead {
public:
    ResponseHead() = default;
    /// @param lines  the header lines of one or more responses, of which the last one counts
    explicit ResponseHead(std::string_view lines);

    /// 0 where there is no response.
    long status() const { return m_status; }
    /// The value of a field, of which the last one counts; empty where there is none.
    /// @param name  in any case
    std::string field(std::string_view name) const;
    bool has(std::string_view name) const { return !field(name).empty(); }

private:
    struct Field {
        std::string name;
        std::string value;
    };

    void readStatus(std::string_view line);
    void readField(std::string_view line);

    long m_status = 0;
    std::vector<Field> m_fields;
};

/// Splits header lines, without their ends and without those that are empty.
std::vector<std::string_view> headerLines(std::string_view text);

} // namespace hastool
