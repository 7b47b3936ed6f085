// Keys by their URLs.
#pragma once

#include "AesKey.h"
#include "Downloader.h"

#include <functional>
#include <map>
#include <string>

namespace hastool {

/// Fetches each key once and keeps it.
class KeyStore {
public:
    /// Fetches what is at a URL.
    using Fetch = std::function<Outcome(const std::string& url, std::string& bytes)>;

    explicit KeyStore(Fetch fetch)
        : m_fetch(std::move(fetch)) {}

    /// The key at a URL. @throws ToolError when it cannot be had or is not 16 bytes long
    /// @param wanted  what needs the key, for the message: "segment 7"
    const AesBytes& get(const std::string& url, const std::string& wanted);

    /// The most keys that are kept. A stream with a new key for each segment would bring tens of
    /// thousands in a day, and needs each only once.
    static constexpr size_t kMaxKeys = 256;

private:
    Fetch m_fetch;
    std::map<std::string, AesBytes> m_keys;
};

} // namespace hastool
