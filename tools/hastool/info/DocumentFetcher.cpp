#include "DocumentFetcher.h"

#include <hastool/base/ToolError.h>

#include <utility>

namespace hastool {

DocumentFetcher::DocumentFetcher(EngineOptions options)
    : m_fetcher(std::move(options), kMaxManifestBytes) {}

Document DocumentFetcher::fetch(const Resource& resource) {
    QueuedFetcher::Fetched fetched = m_fetcher.fetch(resource);
    if (!fetched.outcome.ok)
        throw ToolError(resource.url, fetched.outcome.failure);
    return {std::move(fetched.bytes), std::move(fetched.outcome.url)};
}

} // namespace hastool
