// The wall clock that live presentations are published by.
#pragma once

#include <condition_variable>
#include <mutex>

namespace hastool {

/// Tells the time and waits for moments. A test may put a clock of its own here. Any thread may
/// call anything.
class LiveTime {
public:
    virtual ~LiveTime() = default;
    /// Seconds since the epoch.
    virtual double now() const = 0;
    /// Waits until a moment. @return false when stop() was called
    virtual bool waitUntil(double time) = 0;
    /// Ends all waits, also later ones.
    virtual void stop() = 0;
};

/// The machine's clock.
class MachineTime : public LiveTime {
public:
    double now() const override;
    bool waitUntil(double time) override;
    void stop() override;

private:
    std::mutex m_mutex; // guards m_isStopped
    std::condition_variable m_stopping;
    bool m_isStopped = false;
};

} // namespace hastool
