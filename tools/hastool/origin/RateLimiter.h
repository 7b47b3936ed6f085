// The waits of a server, which keep to a rate.
#pragma once

#include "LineSchedule.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>

namespace hastool {

/// Lets bytes through at the rate of a profile, which begins with the first answer; without a
/// profile at once. All connections of a server share one limiter.
///
/// Any thread may call anything. stop() ends all waits, which then return false.
class RateLimiter {
public:
    explicit RateLimiter(const std::optional<RateProfile>& profile);

    /// Waits between a request and the first byte of its answer.
    bool beginAnswer();
    /// How many bytes to hand to pass() at once.
    size_t pieceSize();
    /// Waits until so many bytes have gone over the line.
    bool pass(size_t bytes);
    /// Waits so many seconds.
    bool wait(double seconds);
    void stop();

private:
    using Clock = std::chrono::steady_clock;

    double now() const;
    bool waitUntil(std::unique_lock<std::mutex>& lock, Clock::time_point time);
    Clock::time_point timeOf(double seconds) const;

    std::mutex m_mutex; // guards everything
    std::condition_variable m_stopping;
    std::optional<LineSchedule> m_line;
    std::optional<Clock::time_point> m_begun;
    bool m_stopped = false;
};

} // namespace hastool
