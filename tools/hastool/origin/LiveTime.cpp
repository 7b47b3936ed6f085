#include "LiveTime.h"

#include <Hascommon/Datetime.h>

#include <algorithm>
#include <chrono>

namespace hastool {
namespace {

constexpr double kLongestWait = 3600; // seconds; nobody waits longer for a live stream

} // namespace

double MachineTime::now() const {
    return static_cast<double>(hascommon::has_getTime()) / 1000;
}

bool MachineTime::waitUntil(double time) {
    const std::chrono::duration<double> left(std::clamp(time - now(), 0.0, kLongestWait));
    std::unique_lock<std::mutex> lock(m_mutex);
    m_stopping.wait_for(lock, left, [this] { return m_isStopped; });
    return !m_isStopped;
}

void MachineTime::stop() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_stopping.notify_all();
}

} // namespace hastool
