#include <Hasnet/detail/UrlInfoTable.h>

namespace hascommon::detail {

using Guard = LockGuard<Mutex>;

UrlInfo& UrlInfoTable::at(int index) {
    return m_entries[static_cast<std::size_t>(index)];
}

const UrlInfo& UrlInfoTable::at(int index) const {
    return m_entries[static_cast<std::size_t>(index)];
}

int UrlInfoTable::Choose(int slot, const std::string& url, bool keepInfo) const {
    if (!keepInfo)
        return slot;
    const Guard guard(m_mutex);
    int oldest = kSlots;
    for (int i = kSlots; i < kEntries; ++i) {
        if (at(i).url == url)
            return i;
        if (at(i).usedAt < at(oldest).usedAt)
            oldest = i;
    }
    return oldest;
}

void UrlInfoTable::Fill(int index, const std::string& url, const std::string& range, bool keepInfo,
                        long long now) {
    const Guard guard(m_mutex);
    at(index) = UrlInfo{url, range, 0, 0, keepInfo, now};
}

std::optional<UrlInfo> UrlInfoTable::Get(int index) const {
    if (index < 0 || index >= kEntries)
        return std::nullopt;
    const Guard guard(m_mutex);
    return at(index);
}

long UrlInfoTable::Date(int index) const {
    const Guard guard(m_mutex);
    return at(index).date;
}

void UrlInfoTable::LearnDate(int index, long date) {
    const Guard guard(m_mutex);
    if (at(index).date == 0)
        at(index).date = date;
}

bool UrlInfoTable::WantsFileTime(int index) const {
    const Guard guard(m_mutex);
    return at(index).keepInfo && at(index).fileTime == 0;
}

void UrlInfoTable::LearnFileTime(int index, long fileTime) {
    const Guard guard(m_mutex);
    at(index).fileTime = fileTime;
}

} // namespace hascommon::detail
