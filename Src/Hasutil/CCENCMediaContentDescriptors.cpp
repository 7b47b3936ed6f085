#include <Hasutil/CCENCMediaContent.h>

#include <Hasutil/detail/DrmSystem.h>

#include <algorithm>

void CCENCMediaContent::setContentProtectionInfo(int period, int representation,
                                                 void* descriptors) {
    if (descriptors != nullptr) {
        m_descriptors[period][representation] = *static_cast<const Descriptors*>(descriptors);
        return;
    }
    const auto found = m_descriptors.find(period);
    if (found == m_descriptors.end())
        return;
    found->second.erase(representation);
    if (found->second.empty())
        m_descriptors.erase(found);
}

int CCENCMediaContent::findContentProtection(int period, int representation,
                                             dashengine::ContentProtection_t& out) {
    const auto ofPeriod = m_descriptors.find(period);
    if (ofPeriod == m_descriptors.end())
        return 0;
    const auto found = ofPeriod->second.find(representation);
    if (found == ofPeriod->second.end())
        return 0;
    const Descriptors& list = found->second;
    const auto match =
        std::find_if(list.begin(), list.end(), [this](const dashengine::ContentProtection_t& cp) {
            return isSystemIDMatched(cp.schemeIdUri);
        });
    if (match == list.end())
        return 0;
    out = *match;
    return 1;
}

bool CCENCMediaContent::isSystemIDMatched(const std::string& schemeId) {
    return !hascommon::detail::findSystemId(m_drmType, schemeId).empty();
}

std::string CCENCMediaContent::getSystemID(dashengine::ContentProtection_t& cp) {
    return hascommon::detail::findSystemId(m_drmType, cp.schemeIdUri);
}

std::string CCENCMediaContent::getPsshData(dashengine::ContentProtection_t& cp) {
    return cp.pssh.empty() ? cp.alternatePssh : cp.pssh;
}
