// The transfer that a track has under way.
#pragma once

#include "Fetcher.h"
#include "Journal.h"

#include <cstdint>
#include <optional>

namespace hastool {

/// Room for one transfer at a time.
class TransferSlot {
public:
    /// Both are borrowed. @param isAside  see Fetcher::beginAside()
    TransferSlot(Fetcher& fetcher, Journal& journal, bool isAside = false)
        : m_fetcher(fetcher)
        , m_journal(journal)
        , m_isAside(isAside) {}

    /// Begins a transfer; the slot must be free.
    void begin(const Resource& resource, ByteSink& sink) {
        m_id = m_isAside ? m_fetcher.beginAside(resource, sink) : m_fetcher.begin(resource, sink);
    }
    /// Whether there is a transfer, and it has ended.
    bool hasEnded() const { return m_id && m_fetcher.outcome(*m_id) != nullptr; }
    /// The bytes of the transfer so far, and how many there will be; 0 where that is not known.
    uint64_t received() const { return m_id ? m_fetcher.received(*m_id) : 0; }
    uint64_t expected() const { return m_id ? m_fetcher.expected(*m_id) : 0; }
    /// Ends the transfer early, if there is one; it is taken as any other.
    void cancel() {
        if (m_id)
            m_fetcher.cancel(*m_id);
    }
    /// How it ended; the slot is free again.
    Outcome take() {
        Outcome outcome = *m_fetcher.outcome(*m_id);
        m_fetcher.forget(*m_id);
        m_id.reset();
        m_journal.transferred(outcome);
        return outcome;
    }

private:
    Fetcher& m_fetcher;
    Journal& m_journal;
    const bool m_isAside;
    std::optional<Fetcher::Id> m_id;
};

} // namespace hastool
