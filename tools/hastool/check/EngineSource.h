// A check's resources from their servers.
#pragma once

#include "CheckSource.h"
#include <hastool/net/QueuedFetcher.h>

#include <chrono>
#include <string>
#include <vector>

namespace hastool {

/// Fetches over the download engine.
class EngineSource : public CheckSource {
public:
    /// @param options  with a total time limit
    explicit EngineSource(EngineOptions options);

    void expect(const std::vector<Resource>& resources) override { m_fetcher.expect(resources); }
    Fetched fetch(const Resource& resource) override;
    std::string troubleNow() const override;

private:
    const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
    QueuedFetcher m_fetcher;
};

} // namespace hastool
