// How long a live presentation may stand still.
#pragma once

#include "Presentation.h"
#include <hastool/base/TimeSource.h>
#include <hastool/base/ToolError.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace hastool {

/// Measures for how long nothing new has come. Failures to load the manifest again count as nothing
/// new: they end the play only when the time is up.
class LiveWait {
public:
    using Clock = std::chrono::steady_clock;

    explicit LiveWait(std::chrono::milliseconds timeout, TimeSource time = {})
        : m_timeout(timeout)
        , m_clock(std::move(time)) {}

    /// Something new has come.
    void end() { m_since.reset(); }
    void loadFailed(const ToolError& error) { m_failure = error; }
    void loaded() { m_failure.reset(); }

    /// Nothing new has come. @param due  when to ask again
    /// @param url  names the manifest in messages
    /// @throws ToolError when nothing new has come for longer than the time-out
    NextPiece wait(Clock::time_point due, const std::string& url);

private:
    std::chrono::milliseconds m_timeout;
    TimeSource m_clock;
    std::optional<Clock::time_point> m_since;
    std::optional<ToolError> m_failure;
};

} // namespace hastool
