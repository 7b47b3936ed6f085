// How long a download may take.
#pragma once

#include <chrono>
#include <string>

namespace hastool {

/// The limits that a user sets; zero for none.
struct TimeLimits {
    std::chrono::milliseconds connect{0}; ///< until the connection stands
    std::chrono::milliseconds idle{0};    ///< without a byte, from the request on
    std::chrono::milliseconds total{0};   ///< for all attempts
};

/// Watches one download. Times are handed in, and time that is not to count is taken out by hold().
class TransferTimer {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// An attempt begins.
    void begin(TimePoint now);
    /// The attempt has ended, and there may be another.
    void end() { m_runs = false; }
    /// Bytes have come.
    void progress(TimePoint now) { m_lastByte = now; }
    /// The download stood still for so long because it was told to.
    void hold(std::chrono::steady_clock::duration time);

    /// Which limit is passed, as in "no byte for 5 s, see --timeout"; empty for none.
    std::string overdue(const TimeLimits& limits, TimePoint now) const;

private:
    bool m_hasBegun = false;
    bool m_runs = false;
    TimePoint m_begun;
    TimePoint m_lastByte;
};

} // namespace hastool
