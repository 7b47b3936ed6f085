// Transfers over the download engine.
#pragma once

#include "Fetcher.h"

#include <map>
#include <memory>
#include <string>

namespace hastool {

/// Fetches by the download engine, in the machine's time. An interrupt by the user ends everything
/// that is under way.
///
/// What is fetched aside has an engine of its own, as a failure holds up a whole engine. That one
/// does not have the cookies of the first: where its server refuses, the first one is asked.
class EngineFetcher : public Fetcher {
public:
    /// @param traffic  observes the engine's traffic, borrowed
    EngineFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic);

    Id begin(const Resource& resource, ByteSink& sink) override;
    Id beginAside(const Resource& resource, ByteSink& sink) override;
    const Outcome* outcome(Id id) const override;
    uint64_t received(Id id) const override;
    uint64_t expected(Id id) const override;
    void forget(Id id) override;
    void cancel(Id id) override;
    void hold(bool held) override;
    bool isHeld() const override { return m_downloader.isPaused(); }
    void cancelAll() override;
    void wait(Clock::TimePoint until) override;

private:
    /// A transfer aside: which engine runs it, and what for.
    struct Aside {
        Resource resource;
        ByteSink* sink = nullptr;
        Downloader* engine = nullptr;
        Downloader::Id id = 0;
    };

    bool pump();
    void askFirstEngine(Aside& aside);

    const EngineOptions m_asideOptions;
    Downloader m_downloader;
    std::unique_ptr<Downloader> m_asideDownloader; ///< null until something is fetched aside
    std::map<Id, Aside> m_asides;                  ///< by ids below 0
    Id m_nextAside = -1;
    enum class Refusal { None, Asked, Helped } m_refusal = Refusal::None;
    std::map<Id, std::string> m_names; ///< of transfers under way, for the messages about retries
};

} // namespace hastool
