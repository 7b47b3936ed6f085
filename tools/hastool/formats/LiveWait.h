// Patience with a live presentation.
#pragma once

#include "Presentation.h"
#include <hastool/base/TimeSource.h>
#include <hastool/base/ToolError.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace hastool {

/// Keeps account of how long nothing new has come, and of failures to load the manifest again,
/// which are ridden out until the time is up.
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

    /// Nothing new has come; what there is has to be asked for again at `due`.
    /// @param url  names the manifest. @throws ToolError when that has gone on for too long
    NextPiece wait(Clock::time_point due, const std::string& url);

private:
    std::chrono::milliseconds m_timeout;
    TimeSource m_clock;
    std::optional<Clock::time_point> m_since;
    std::optional<ToolError> m_failure;
};

} // namespace hastool
