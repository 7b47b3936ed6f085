#include "EngineFetcher.h"

#include <hastool/base/Interrupt.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

using MachineTime = std::chrono::steady_clock;

EngineOptions forPlayer(EngineOptions options) {
    options.retriesBrokenConnections = true;
    return options;
}

/// The last part of the URL's path.
std::string nameIn(const std::string& url) {
    const std::string path = hascommon::GURL(url).path();
    return path.substr(path.rfind('/') + 1);
}

} // namespace

EngineFetcher::EngineFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic)
    : m_downloader(forPlayer(std::move(options)), &traffic) {
    m_downloader.onRetry(
        [this](Id id, const std::string& what) { tellRetry(m_names[id] + ": " + what); });
}

Fetcher::Id EngineFetcher::begin(const Resource& resource, ByteSink& sink) {
    const Id id = m_downloader.add(resource, sink, true);
    m_names[id] = nameIn(resource.url);
    m_downloader.pump(); // so that it begins now, whatever its owner does before it waits
    return id;
}

/// It may have ended while another one was begun, before any wait has seen it.
void EngineFetcher::forget(Id id) {
    m_names.erase(id);
    m_downloader.forget(id);
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
    m_downloader.cancelAll();
    while (m_downloader.pump())
        m_downloader.wait(kLookInterval);
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
    bool hasEnded = false;
    for (auto it = m_names.begin(); it != m_names.end();) {
        const bool isOver = m_downloader.outcome(it->first) != nullptr;
        hasEnded = hasEnded || isOver;
        it = isOver ? m_names.erase(it) : std::next(it);
    }
    return hasEnded;
}

} // namespace hastool
