#include <Hasutil/detail/ContentDescriptors.h>

#include <Hasutil/detail/Base64.h>
#include <Hasutil/detail/DrmSystem.h>

#include <algorithm>

namespace hascommon::detail {

using dashengine::ContentProtection_t;

void ContentDescriptors::store(int period, int representation, const List* descriptors) {
    if (descriptors != nullptr) {
        m_lists[period][representation] = *descriptors;
        return;
    }
    const auto found = m_lists.find(period);
    if (found == m_lists.end())
        return;
    found->second.erase(representation);
    if (found->second.empty())
        m_lists.erase(found);
}

const ContentProtection_t* ContentDescriptors::find(int period, int representation) const {
    const auto ofPeriod = m_lists.find(period);
    if (ofPeriod == m_lists.end())
        return nullptr;
    const auto found = ofPeriod->second.find(representation);
    if (found == ofPeriod->second.end())
        return nullptr;
    const List& list = found->second;
    const auto match =
        std::find_if(list.begin(), list.end(), [this](const ContentProtection_t& descriptor) {
            return !systemIdOf(descriptor.schemeIdUri).empty();
        });
    return match == list.end() ? nullptr : &*match;
}

std::string ContentDescriptors::systemIdOf(const std::string& schemeId) const {
    return findSystemId(m_type, schemeId);
}

const std::string& ContentDescriptors::psshText(const ContentProtection_t& descriptor) {
    return descriptor.pssh.empty() ? descriptor.alternatePssh : descriptor.pssh;
}

PsshBox ContentDescriptors::boxOf(const ContentProtection_t& descriptor) const {
    return {systemIdOf(descriptor.schemeIdUri), decodeBase64(psshText(descriptor))};
}

} // namespace hascommon::detail
