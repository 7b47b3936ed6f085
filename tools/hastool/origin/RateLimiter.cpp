#include "RateLimiter.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kUnlimitedPiece = 65536;
constexpr double kMaxWait = 1e6; // seconds; beyond it nobody waits, and clocks do not overflow

} // namespace

RateLimiter::RateLimiter(const std::optional<RateProfile>& profile) {
    if (profile)
        m_line.emplace(*profile);
}

bool RateLimiter::beginAnswer() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_begun)
        m_begun = Clock::now();
    if (!m_line)
        return !m_stopped;
    const double time = now();
    return waitUntil(lock, timeOf(time + m_line->latency(time)));
}

size_t RateLimiter::pieceSize() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_line ? m_line->pieceSize(now()) : kUnlimitedPiece;
}

bool RateLimiter::pass(size_t bytes) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_line)
        return !m_stopped;
    return waitUntil(lock, timeOf(m_line->send(now(), bytes)));
}

bool RateLimiter::wait(double seconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return waitUntil(lock, timeOf(now() + seconds));
}

void RateLimiter::stop() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopped = true;
    m_stopping.notify_all();
}

/// Seconds since the first answer began.
double RateLimiter::now() const {
    return m_begun ? std::chrono::duration<double>(Clock::now() - *m_begun).count() : 0;
}

RateLimiter::Clock::time_point RateLimiter::timeOf(double seconds) const {
    const std::chrono::duration<double> since(std::min(seconds, now() + kMaxWait));
    return m_begun.value_or(Clock::now()) + std::chrono::duration_cast<Clock::duration>(since);
}

bool RateLimiter::waitUntil(std::unique_lock<std::mutex>& lock, Clock::time_point time) {
    m_stopping.wait_until(lock, time, [this] { return m_stopped; });
    return !m_stopped;
}

} // namespace hastool
