// Events on the time line of a presentation.
#pragma once

#include <optional>
#include <string>

namespace hastool {

/// Something that a presentation says happens at a time in it.
struct TimedEvent {
    /// What it means for an advertisement break.
    enum class Break { None, Begins, Ends };

    std::string origin;        ///< how it was sent: "DATERANGE", "EventStream" or "emsg"
    std::string scheme;        ///< what its message means: a URI or a class; may be empty
    std::string id;            ///< tells events of one origin and scheme apart
    double start = 0;          ///< seconds since the presentation began
    std::optional<double> end; ///< seconds since the presentation began, where it is known
    Break adBreak = Break::None;
    std::string text; ///< what it says, for people; from outside, as it came
};

} // namespace hastool
