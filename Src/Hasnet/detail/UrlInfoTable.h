// The requests that the engine remembers.
#pragma once

#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>

#include <array>
#include <optional>
#include <string>

namespace hascommon::detail {

/// One remembered request.
struct UrlInfo {
    std::string url;
    std::string range;
    long fileTime = 0; ///< seconds since 1970, 0 until known
    long date = 0;     ///< the server's clock in seconds since 1970, 0 until known
    bool keepInfo = false;
    long long usedAt = 0; ///< ms of the last request that used the entry
};

/// Entries 0 to 19 belong one to each unit slot; 20 to 39 are a cache of the requests that asked to
/// be kept, by URL, the least recently used giving way. Any thread may call.
class UrlInfoTable {
public:
    static constexpr int kSlots = 20;
    static constexpr int kEntries = 40;

    /// Chooses the entry of a request, without changing it.
    int Choose(int slot, const std::string& url, bool keepInfo) const;
    /// Fills an entry for a new request. The file time starts unknown on purpose: a repeat of a
    /// broken download must not be answered "not modified". A request is conditional only when
    /// another one for the same URL, running at the same time, has learnt the time meanwhile.
    void Fill(int index, const std::string& url, const std::string& range, bool keepInfo,
              long long now);
    /// A copy of an entry; nothing for an index outside the table.
    std::optional<UrlInfo> Get(int index) const;
    long Date(int index) const;
    /// Stores the date unless the entry has one.
    void LearnDate(int index, long date);
    /// Whether the entry's file time is wanted and not known.
    bool WantsFileTime(int index) const;
    void LearnFileTime(int index, long fileTime);

private:
    UrlInfo& at(int index) HAS_REQUIRES(m_mutex);
    const UrlInfo& at(int index) const HAS_REQUIRES(m_mutex);

    mutable Mutex m_mutex;
    std::array<UrlInfo, kEntries> m_entries HAS_GUARDED_BY(m_mutex);
};

} // namespace hascommon::detail
