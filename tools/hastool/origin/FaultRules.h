// Faults on request.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// What goes wrong with an answer.
struct Fault {
    enum class Kind {
        Status,   ///< the answer is an error with this HTTP status
        Reset,    ///< the connection is reset in the middle of the body
        Stall,    ///< nothing comes for a while in the middle of the body
        Truncate, ///< the connection is closed after so many bytes of the body
    };
    Kind kind = Kind::Status;
    int status = 0;     ///< 400 to 599
    double seconds = 0; ///< of a stall
    uint64_t bytes = 0; ///< before the cut
};

/// Which requests meet which faults. Rules are "WHICH:WHAT" with or without "*N":
///
/// | WHICH | requests |
/// |---|---|
/// | `seg=N` | those for the Nth media segment of every stream, from 1 |
/// | `path=TEXT` | those whose path holds the text |
///
/// | WHAT | |
/// |---|---|
/// | `404`, any number from 400 to 599 | this status |
/// | `reset` | see Fault |
/// | `stall=SECONDS`, `truncate=BYTES` | see Fault |
///
/// A rule with "*N" holds for the first N requests that it fits. The first rule that fits counts.
///
/// Any thread may call take().
class FaultRules {
public:
    FaultRules() = default;
    /// @throws ToolError for text that is no rule
    explicit FaultRules(const std::vector<std::string>& rules);

    /// The fault that a request meets.
    /// @param path     decoded
    /// @param segment  gives the request's segment number in its stream, or nothing when it is for
    ///                 no segment; called only when a rule needs the number
    std::optional<Fault> take(const std::string& path,
                              const std::function<std::optional<uint64_t>()>& segment);

private:
    struct Rule {
        std::optional<uint64_t> segment;
        std::string path; ///< for a rule with `path=`
        Fault fault;
        std::optional<uint64_t> left; ///< for how many more requests; nothing: for all
    };

    static Rule parse(const std::string& text);

    std::mutex m_mutex; // guards what is left of the rules
    std::vector<Rule> m_rules;
};

} // namespace hastool
