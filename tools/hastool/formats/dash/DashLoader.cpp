#include "DashLoader.h"

#include <hastool/base/IsoTime.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

constexpr double kMinReload = 0.5;   // seconds; no server deserves more
constexpr double kMaxReload = 86400; // seconds; later is never, and clocks do not overflow

} // namespace

DashLoader::DashLoader(const Document& document, FetchDocument fetch, const TimeSource& time)
    : m_fetch(std::move(fetch))
    , m_clock(time) {
    take(document);
}

/// All documents are fetched first, as a fetch may throw: until then nothing has changed.
void DashLoader::take(const Document& document) {
    DashManifest manifest = parseDashManifest(
        document.text, document.url, [this](const std::string& url) { return fetchRemote(url); });
    m_clockOffset = clockOffset(manifest, document.url).value_or(m_clockOffset);
    m_manifest = std::move(manifest);
    m_url = document.url;
    m_loadedAt = m_clock.steady();
}

/// Each such document is fetched once, however often the manifest is loaded again.
std::string DashLoader::fetchRemote(const std::string& url) {
    const auto known = m_remotes.find(url);
    if (known != m_remotes.end())
        return known->second;
    std::string text = fetch({url, std::nullopt}).text;
    if (m_remotes.size() == kMaxDashRemotes)
        m_remotes.clear();
    return m_remotes[url] = std::move(text);
}

/// By the first clock of the manifest that can be read.
std::optional<double> DashLoader::clockOffset(const DashManifest& manifest,
                                              const std::string& url) const {
    for (const DashClock& clock : manifest.clocks) {
        if (const auto time = timeOf(clock, url))
            return *time - m_clock.wall();
    }
    return std::nullopt;
}

/// What a clock shows, in seconds since the epoch; nothing for one that cannot be read.
std::optional<double> DashLoader::timeOf(const DashClock& clock, const std::string& url) const {
    const auto is = [&](const char* kind) { return clock.scheme.find(kind) != std::string::npos; };
    if (is(":utc:direct:"))
        return parseIsoDateTime(trimmed(clock.value));
    if (!is(":utc:http-iso:") && !is(":utc:http-xsdate:"))
        return std::nullopt;
    try {
        const std::string place = resolveHttpUrl(url, clock.value, url);
        return parseIsoDateTime(trimmed(fetch({place, std::nullopt}).text));
    } catch (const ToolError&) {
        return std::nullopt; // Another clock may answer, and else the machine's is used.
    }
}

double DashLoader::liveTime() const {
    return m_clock.wall() + m_clockOffset - m_manifest.availabilityStart;
}

std::optional<DashLoader::Clock::time_point> DashLoader::reloadDue() const {
    if (!m_manifest.isDynamic || !m_manifest.minimumUpdatePeriod)
        return std::nullopt;
    const double interval = std::clamp(*m_manifest.minimumUpdatePeriod, kMinReload, kMaxReload);
    return m_loadedAt + std::chrono::milliseconds(static_cast<long long>(interval * 1000));
}

void DashLoader::reload() {
    const std::string url =
        m_manifest.location.empty() ? m_url : resolveHttpUrl(m_url, m_manifest.location, m_url);
    try {
        take(fetch({url, std::nullopt}));
    } catch (const ToolError&) {
        m_loadedAt = m_clock.steady();
        throw;
    }
}

} // namespace hastool
