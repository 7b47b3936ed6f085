// Documents that are read on the way to a piece.
#pragma once

#include "TransferSlot.h"
#include <hastool/formats/Presentation.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Lays out what a presentation, or a key store, asks for. What is not at hand makes the call that
/// asks fail with DocumentWanted; it is then fetched, and the call made again. Each reader has a
/// slot for its transfer, by which it is known. A document that one reader waits for is not fetched
/// for another one beside it.
class DocumentDesk {
public:
    /// @throws DocumentWanted when it is not at hand, ToolError when it cannot be had
    Document document(const Resource& resource);
    /// Likewise for bytes, with what came of fetching them. @param limit  of their size
    Outcome bytes(const std::string& url, size_t limit, std::string& bytes);

    /// Begins to fetch a document for a reader, unless it is on its way.
    void fetch(const DocumentWanted& wanted, TransferSlot& reader);
    bool isUnderWay(const Resource& resource) const;
    /// A reader's call is over: what was fetched for it is no longer needed.
    void release(const TransferSlot& reader);

private:
    /// One document, on its way or at hand.
    struct Entry {
        Entry(const DocumentWanted& wanted, TransferSlot& itsReader)
            : resource(wanted.resource)
            , reader(&itsReader)
            , sink(wanted.limit) {}

        Resource resource;
        TransferSlot* reader;
        MemorySink sink;
        std::optional<Outcome> outcome; ///< nothing while it is on its way
    };

    Entry& take(const DocumentWanted& wanted);
    const Entry* find(const Resource& resource) const;

    std::vector<std::unique_ptr<Entry>> m_entries; ///< few, and sinks stay where they are
};

} // namespace hastool
