// Documents that have to be fetched on the way to a piece.
#pragma once

#include "HeldSink.h"
#include "TransferSlot.h"
#include <hastool/formats/Presentation.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Holds the documents that a presentation, or a key store, asks for. A call for a document that is
/// not there yet throws DocumentWanted; the reader that made the call then has it fetched, and
/// calls again. A reader is known by its transfer slot. A document that is on its way for one
/// reader is not fetched a second time for another.
class DocumentDesk {
public:
    /// Tells the traffic of documents that their servers may hold back, borrowed.
    void setTraffic(PacedTraffic& traffic) { m_traffic = &traffic; }

    /// @throws DocumentWanted when the document is not there yet, ToolError when fetching it failed
    Document document(const Resource& resource);
    /// Likewise for bytes, but a failure is told by the outcome. @param limit  of their size
    /// @return how the transfer ended
    Outcome bytes(const std::string& url, size_t limit, std::string& bytes);

    /// Begins to fetch a document for a reader, unless it is on its way.
    void fetch(const DocumentWanted& wanted, TransferSlot& reader);
    bool isUnderWay(const Resource& resource) const;
    /// Drops what was fetched for a reader: its call has returned.
    void release(const TransferSlot& reader);

private:
    /// One document, on its way or there.
    struct Entry {
        Entry(const DocumentWanted& wanted, TransferSlot& itsReader)
            : resource(wanted.resource)
            , reader(&itsReader)
            , sink(wanted.limit) {}

        Resource resource;
        TransferSlot* reader;
        MemorySink sink;
        std::unique_ptr<HeldSink> held; ///< writes to the sink; null where nothing is held back
        std::optional<Outcome> outcome; ///< nothing while it is on its way
    };

    Entry& take(const DocumentWanted& wanted);
    const Entry* find(const Resource& resource) const;

    PacedTraffic* m_traffic = nullptr;
    std::vector<std::unique_ptr<Entry>> m_entries; ///< pointers, as transfers write into the sinks
};

} // namespace hastool
