#include "KeyStore.h"

#include <hastool/base/ToolError.h>

#include <algorithm>

namespace hastool {

const AesBytes& KeyStore::get(const std::string& url, const std::string& wanted) {
    const auto known = m_keys.find(url);
    if (known != m_keys.end())
        return known->second;
    std::string bytes;
    const Outcome outcome = m_fetch(url, bytes);
    if (!outcome.ok)
        throw ToolError(url, "the key of " + wanted + ": " + outcome.failure);
    AesBytes key;
    if (bytes.size() != key.size())
        throw ToolError(url, "the key of " + wanted + " has " + std::to_string(bytes.size()) +
                                 " bytes instead of 16");
    std::copy(bytes.begin(), bytes.end(), key.begin());
    if (m_keys.size() == kMaxKeys)
        m_keys.clear();
    return m_keys.emplace(url, key).first->second;
}

} // namespace hastool
