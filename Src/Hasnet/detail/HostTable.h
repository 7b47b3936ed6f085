// The hosts that unit slots are bound to.
#pragma once

#include <array>
#include <string>

namespace hascommon::detail {

/// Numbers hosts in the order they are first seen. Index 0 stands for no host and for every host
/// after the ninth; its entry is never filled.
class HostTable {
public:
    static constexpr int kEntries = 10;

    int IndexOf(const std::string& host) {
        if (host.empty())
            return 0;
        for (int i = 1; i < kEntries; ++i) {
            std::string& entry = m_hosts[static_cast<std::size_t>(i)];
            if (entry.empty())
                entry = host;
            if (entry == host)
                return i;
        }
        return 0;
    }

private:
    std::array<std::string, kEntries> m_hosts;
};

} // namespace hascommon::detail
