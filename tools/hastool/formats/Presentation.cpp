#include "Presentation.h"

#include <utility>

namespace hastool {

void Presentation::warn(const std::string& what) {
    if (m_told.size() < kMaxWarnings && m_told.insert(what).second)
        m_warnings.push_back(what);
}

std::vector<std::string> Presentation::takeWarnings() {
    return std::exchange(m_warnings, {});
}

} // namespace hastool
