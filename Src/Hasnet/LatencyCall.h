/// @file
/// A delay that is asked for.
#pragma once

#include <Hascommon/Export.h>

#include <cstdint>

namespace hascommon {

/// Answers once that a delay has run out.
///
/// It has no thread and calls nobody: the owner arms it with Start() and asks IsCheck() on each
/// pass of its own loop. Times are milliseconds of has_getTime(). Nothing here fails.
///
/// Threads: one thread uses an object.
class HAS_API LatencyCall {
public:
    /// A stopped one; it answers only after Start().
    LatencyCall();

    /// Arms it, from now on, also when it was armed before.
    /// @param delay  milliseconds that have to be exceeded; negative for at once
    /// @param level  the owner's own, see GetLevel()
    void Start(long long delay, int level);

    /// Disarms it.
    void Stop();

    /// @return whether it is not armed
    bool IsStop() const;

    /// @return true for the first call after more than the delay has passed, which disarms it
    bool IsCheck();

    /// @return what was given to Start(), 0 before; it stays when the delay has run out
    int GetLevel() const;
    /// @return when it was armed last, or else made; in milliseconds
    long long GetStartTime() const;
    /// @return what was given to Start(), 0 before; in milliseconds
    long long GetDelay() const;

private:
    std::int64_t m_startTime;
    std::int64_t m_delay = 0;
    std::int32_t m_level = 0;
    bool m_stopped = true;
};

} // namespace hascommon
