// Transfers over the download engine.
#pragma once

#include "Fetcher.h"

#include <map>
#include <string>

namespace hastool {

/// Fetches by the download engine, in the machine's time. An interrupt by the user ends everything
/// that is under way.
class EngineFetcher : public Fetcher {
public:
    /// @param traffic  observes the engine's traffic, borrowed
    EngineFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic);

    Id begin(const Resource& resource, ByteSink& sink) override;
    const Outcome* outcome(Id id) const override { return m_downloader.outcome(id); }
    void forget(Id id) override;
    void hold(bool held) override;
    bool isHeld() const override { return m_downloader.isPaused(); }
    void cancelAll() override;
    void wait(Clock::TimePoint until) override;

private:
    bool pump();

    Downloader m_downloader;
    std::map<Id, std::string> m_names; ///< of transfers under way, for the messages about retries
};

} // namespace hastool
