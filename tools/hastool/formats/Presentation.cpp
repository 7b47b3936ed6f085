#include "Presentation.h"

#include <utility>

namespace hastool {

void Presentation::warn(const std::string& what) {
    if (m_told.size() < kMaxWarnings && m_told.insert(what).second)
        m_warnings.push_back(what);
}

void Presentation::announce(TimedEvent event) {
    if (m_events.size() < kMaxAnnounced)
        m_events.push_back(std::move(event));
}

std::vector<TimedEvent> Presentation::takeEvents() {
    return std::exchange(m_events, {});
}

std::vector<std::string> Presentation::takeWarnings() {
    return std::exchange(m_warnings, {});
}

} // namespace hastool
