#include "LiveWait.h"

#include <algorithm>

namespace hastool {

NextPiece LiveWait::wait(Clock::time_point due, const std::string& url) {
    const auto now = m_clock.steady();
    if (!m_since)
        m_since = now;
    if (now - *m_since > m_timeout) {
        if (m_failure)
            throw ToolError(*m_failure);
        throw ToolError(url, "the live stream has stopped");
    }
    NextPiece result;
    result.kind = NextPiece::Kind::Wait;
    result.wait = std::max(std::chrono::duration_cast<std::chrono::milliseconds>(due - now),
                           std::chrono::milliseconds(1));
    return result;
}

} // namespace hastool
