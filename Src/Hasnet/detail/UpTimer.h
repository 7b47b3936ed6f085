// How long a change to a higher group waits.
#pragma once

#include <cstdint>

namespace hascommon::detail {

/// The wish to enter a higher group has to last for a number of seconds, and for longer after it
/// has proved premature.
class UpTimer {
public:
    /// Begins afresh. @param seconds  to wait, and what this grows by; none for 0 or less
    void Set(int seconds);
    /// The higher group is wished for. @return whether it may be entered now
    bool MayEnter(std::int64_t nowMs);
    /// Nothing above is wished for.
    void Stop() { m_isRunning = false; }
    /// The group was left downwards.
    void Left(std::int64_t nowMs);

private:
    bool HasPassed(std::int64_t nowMs, std::int64_t seconds) const;

    std::int64_t m_step = 0;    ///< seconds
    std::int64_t m_seconds = 0; ///< to wait now
    bool m_isRunning = false;
    bool m_isEntered = false; ///< the present group was entered after a wait
    std::int64_t m_start = 0; ///< of the wait, or of the time in the group
};

} // namespace hascommon::detail
