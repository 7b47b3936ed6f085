#include "DocumentDesk.h"

#include <hastool/base/ToolError.h>

#include <algorithm>

namespace hastool {

Document DocumentDesk::document(const Resource& resource) {
    Entry& entry = take({resource, kMaxManifestBytes});
    if (!entry.outcome->ok)
        throw ToolError(resource.url, entry.outcome->failure);
    return {entry.sink.bytes(), entry.outcome->url};
}

Outcome DocumentDesk::bytes(const std::string& url, size_t limit, std::string& bytes) {
    Entry& entry = take({{url, std::nullopt}, limit});
    bytes = entry.sink.bytes();
    return *entry.outcome;
}

DocumentDesk::Entry& DocumentDesk::take(const DocumentWanted& wanted) {
    for (const auto& entry : m_entries) {
        if (!(entry->resource == wanted.resource))
            continue;
        if (!entry->outcome && entry->reader->hasEnded())
            entry->outcome = entry->reader->take();
        if (entry->outcome)
            entry->held.reset();
        if (entry->outcome)
            return *entry;
    }
    throw wanted;
}

const DocumentDesk::Entry* DocumentDesk::find(const Resource& resource) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const auto& entry) { return entry->resource == resource; });
    return found == m_entries.end() ? nullptr : found->get();
}

void DocumentDesk::fetch(const DocumentWanted& wanted, TransferSlot& reader) {
    if (find(wanted.resource) != nullptr)
        return;
    m_entries.push_back(std::make_unique<Entry>(wanted, reader));
    Entry& entry = *m_entries.back();
    if (m_traffic != nullptr && wanted.resource.isHeld)
        entry.held = std::make_unique<HeldSink>(entry.sink, *m_traffic);
    reader.begin(entry.resource, entry.held ? static_cast<ByteSink&>(*entry.held) : entry.sink);
}

bool DocumentDesk::isUnderWay(const Resource& resource) const {
    const Entry* const entry = find(resource);
    return entry != nullptr && !entry->outcome && !entry->reader->hasEnded();
}

void DocumentDesk::release(const TransferSlot& reader) {
    const auto isReleased = [&](const auto& entry) { return entry->reader == &reader; };
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), isReleased),
                    m_entries.end());
}

} // namespace hastool
