#include "EngineFetcher.h"

#include <hastool/base/Interrupt.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace hastool {
namespace {

using MachineTime = std::chrono::steady_clock;

EngineOptions forPlayer(EngineOptions options) {
    options.retriesBrokenConnections = true;
    return options;
}

EngineOptions forAside(EngineOptions options) {
    options = forPlayer(std::move(options));
    options.maxRetries = std::min(options.maxRetries, 1);
    if (options.verbosity == Verbosity::Library)
        options.verbosity =
            Verbosity::Transfers; // the other engine shows the library's log of both
    return options;
}

bool isRefused(const Outcome& outcome) {
    return !outcome.ok && (outcome.httpStatus == 401 || outcome.httpStatus == 403);
}

/// The last part of the URL's path.
std::string nameIn(const std::string& url) {
    const std::string path = hascommon::GURL(url).path();
    return path.substr(path.rfind('/') + 1);
}

} // namespace

EngineFetcher::EngineFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic)
    : m_asideOptions(forAside(options))
    , m_downloader(forPlayer(std::move(options)), &traffic) {
    m_downloader.onRetry(
        [this](Id id, const std::string& what) { tellRetry(m_names[id] + ": " + what); });
}

Fetcher::Id EngineFetcher::begin(const Resource& resource, ByteSink& sink) {
    const Id id = m_downloader.add(resource, sink, true);
    m_names[id] = nameIn(resource.url);
    m_downloader.pump();       // so that it begins now, whatever its owner does before it waits
    std::this_thread::yield(); // to the engine's thread, where there is one processor for both
    return id;
}

Fetcher::Id EngineFetcher::beginAside(const Resource& resource, ByteSink& sink) {
    if (!m_asideDownloader)
        m_asideDownloader = std::make_unique<Downloader>(m_asideOptions);
    Aside aside{resource, &sink, m_asideDownloader.get(), 0};
    if (m_refusal == Refusal::Helped)
        aside.engine = &m_downloader;
    aside.id = aside.engine->add(resource, sink, true);
    aside.engine->pump();
    const Id id = m_nextAside--;
    m_asides[id] = aside;
    m_names[id] = nameIn(resource.url);
    return id;
}

const Outcome* EngineFetcher::outcome(Id id) const {
    if (id > 0)
        return m_downloader.outcome(id);
    const Aside& aside = m_asides.at(id);
    return aside.engine->outcome(aside.id);
}

uint64_t EngineFetcher::received(Id id) const {
    if (id > 0)
        return m_downloader.received(id);
    const Aside& aside = m_asides.at(id);
    return aside.engine->received(aside.id);
}

uint64_t EngineFetcher::expected(Id id) const {
    if (id > 0)
        return m_downloader.expected(id);
    const Aside& aside = m_asides.at(id);
    return aside.engine->expected(aside.id);
}

/// It may have ended while another one was begun, before any wait has seen it.
void EngineFetcher::forget(Id id) {
    m_names.erase(id);
    if (id > 0) {
        m_downloader.forget(id);
        return;
    }
    const Aside aside = m_asides.at(id);
    m_asides.erase(id);
    aside.engine->forget(aside.id);
}

/// The first engine may have a cookie that lets it in. It is tried once, and used when it helped.
void EngineFetcher::askFirstEngine(Aside& aside) {
    const Outcome* const outcome = aside.engine->outcome(aside.id);
    if (outcome == nullptr)
        return;
    if (aside.engine == &m_downloader) {
        if (outcome->ok && m_refusal == Refusal::Asked)
            m_refusal = Refusal::Helped;
        return;
    }
    if (m_refusal != Refusal::None || !isRefused(*outcome) || outcome->bytes > 0)
        return;
    m_refusal = Refusal::Asked;
    aside.engine->forget(aside.id);
    aside.engine = &m_downloader;
    aside.id = m_downloader.add(aside.resource, *aside.sink, true);
    m_downloader.pump();
}

void EngineFetcher::cancel(Id id) {
    if (id > 0) {
        m_downloader.cancel(id);
        return;
    }
    const Aside& aside = m_asides.at(id);
    aside.engine->cancel(aside.id);
}

void EngineFetcher::hold(bool held) {
    if (held == isHeld())
        return;
    if (held)
        m_downloader.pause();
    else
        m_downloader.resume();
}

void EngineFetcher::cancelAll() {
    for (Downloader* const engine : {&m_downloader, m_asideDownloader.get()}) {
        if (engine == nullptr)
            continue;
        engine->cancelAll();
        while (engine->pump())
            engine->wait(kLookInterval);
    }
    m_names.clear();
}

void EngineFetcher::wait(Clock::TimePoint until) {
    while (!pump() && MachineTime::now() < until)
        m_downloader.wait(
            std::min<MachineTime::duration>(until - MachineTime::now(), kLookInterval));
}

/// Moves the transfers on. @return whether one has ended
bool EngineFetcher::pump() {
    if (isInterrupted() && !m_names.empty()) {
        cancelAll();
        return true;
    }
    m_downloader.pump();
    if (m_asideDownloader)
        m_asideDownloader->pump();
    for (auto& [id, aside] : m_asides)
        askFirstEngine(aside);
    bool hasEnded = false;
    for (auto it = m_names.begin(); it != m_names.end();) {
        const bool isOver = outcome(it->first) != nullptr;
        hasEnded = hasEnded || isOver;
        it = isOver ? m_names.erase(it) : std::next(it);
    }
    return hasEnded;
}

} // namespace hastool
