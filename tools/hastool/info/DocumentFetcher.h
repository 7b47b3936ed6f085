// Documents over the download engine, several at a time.
#pragma once

#include <hastool/formats/Presentation.h>
#include <hastool/net/QueuedFetcher.h>

#include <vector>

namespace hastool {

/// Fetches documents one after the other, while those that are expected next are already on their
/// way, see QueuedFetcher.
class DocumentFetcher {
public:
    /// @param options  with a total time limit
    explicit DocumentFetcher(EngineOptions options);

    /// Tells what will be fetched, in that order.
    void expect(const std::vector<Resource>& resources) { m_fetcher.expect(resources); }
    /// Waits for a document. @throws ToolError when it cannot be had
    Document fetch(const Resource& resource);

private:
    QueuedFetcher m_fetcher;
};

} // namespace hastool
