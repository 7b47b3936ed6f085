#include "PacedTraffic.h"

#include <algorithm>

namespace hastool {

void PacedTraffic::AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_paced == 0) {
        m_checker.AddRxTimeInfo(rxStart, rxEnd, bytes);
        return;
    }
    take();
    m_last = Bytes{rxStart, rxEnd, bytes};
}

void PacedTraffic::ResetRxBaseTime(long long baseTime) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_last.reset();
    m_busy = m_count = 0;
    m_checker.ResetRxBaseTime(baseTime);
}

void PacedTraffic::begin() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_paced;
}

void PacedTraffic::end() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_paced;
    handOn();
}

void PacedTraffic::waited() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_last.reset();
}

PacedTraffic::Flow PacedTraffic::flow() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_flow;
}

void PacedTraffic::flush() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    handOn();
}

/// Counts the last bytes. Where transfers overlap, their common time counts once.
void PacedTraffic::take() {
    if (!m_last)
        return;
    const unsigned int start = m_count > 0 ? std::max(m_last->start, m_end) : m_last->start;
    if (m_last->end > start) {
        m_busy += m_last->end - start;
        m_flow.time += std::chrono::milliseconds(m_last->end - start);
    }
    m_flow.bytes += m_last->count;
    m_end = m_count > 0 ? std::max(m_end, m_last->end) : m_last->end;
    m_count += m_last->count;
    m_last.reset();
}

/// As one stretch, without the gaps in it.
void PacedTraffic::handOn() {
    take();
    if (m_count > 0)
        m_checker.AddRxTimeInfo(m_end - m_busy, m_end, m_count);
    m_busy = m_count = 0;
}

} // namespace hastool
