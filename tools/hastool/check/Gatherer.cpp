#include "Gatherer.h"

#include "Delivered.h"
#include "Lister.h"
#include "PlaylistLines.h"
#include "SegmentIntake.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/WebPage.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/smooth/SmoothManifest.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace hastool {
namespace {

using Clock = TimeSource::Steady;

/// How long an interrupt by the user may go unnoticed.
constexpr double kLongestSleep = 0.1;

/// A live presentation without anything to load again is looked at so often, in seconds.
constexpr double kIdle = 1;

std::unique_ptr<Lister> listerFor(const CheckedDocument& document, Evidence& evidence,
                                  CheckSource& source, const TimeSource& time) {
    if (looksLikeDash(document.text))
        return makeDashLister(evidence, source, time);
    if (looksLikeSmooth(document.text))
        return makeSmoothLister(evidence, source, time);
    if (looksLikeWebPage(document.text))
        throw ToolError(document.answer.finalUrl, "a web page, not a manifest");
    if (document.text.find("#EXT") == std::string::npos)
        throw ToolError(document.answer.finalUrl, "neither an HLS playlist, a DASH manifest nor a "
                                                  "Smooth Streaming manifest");
    return makeHlsLister(evidence, source, time);
}

/// Whether a certificate can be why a server was not talked to.
bool isFaulty(const ServerCertificate& certificate) {
    return certificate.failure.empty() &&
           (!certificate.verifyResult.empty() || !certificate.namesHost);
}

class Gatherer {
public:
    Gatherer(const std::string& url, CheckSource& source, const CheckOptions& options)
        : m_source(source)
        , m_options(options)
        , m_intake(m_evidence, source, options) {
        m_evidence.url = url;
    }

    Evidence gather();

private:
    bool fetchManifest();
    void followLive();
    void probeServers();
    void sleepUntil(Clock::time_point then) const;
    bool isOver();

    CheckSource& m_source;
    const CheckOptions& m_options;
    Evidence m_evidence;
    SegmentIntake m_intake;
    std::unique_ptr<Lister> m_lister;
};

Evidence Gatherer::gather() {
    if (!fetchManifest())
        return std::move(m_evidence);
    m_lister->list();
    m_intake.takeNew();
    if (m_evidence.isLive)
        followLive();
    probeServers();
    isOver();
    readPlaylistLines(m_evidence);
    return std::move(m_evidence);
}

/// @return whether there is more to look at than the server's certificate, which is why there is no
///         manifest
bool Gatherer::fetchManifest() {
    CheckSource::Fetched fetched = m_source.fetch({m_evidence.url, std::nullopt});
    m_evidence.documents.push_back({std::move(fetched.answer), std::move(fetched.bytes), ""});
    const CheckedDocument& document = m_evidence.documents.front();
    if (document.answer.ok) {
        m_lister = listerFor(document, m_evidence, m_source, m_options.time);
        return true;
    }
    if (document.answer.status == 0)
        probeServers();
    const auto& shown = m_evidence.certificates;
    if (std::none_of(shown.begin(), shown.end(), isFaulty))
        throw ToolError(m_evidence.url, document.answer.failure);
    return false;
}

void Gatherer::followLive() {
    const Clock::time_point begin = m_options.time.steady();
    const auto length = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(m_options.liveSeconds));
    const Clock::time_point end = begin + length;
    while (m_evidence.isLive && !isOver()) {
        sleepUntil(std::min(end, m_lister->due()));
        if (m_options.time.steady() >= end)
            break;
        m_lister->follow();
        m_intake.takeNew();
    }
    m_evidence.checkedFor = std::chrono::duration<double>(m_options.time.steady() - begin).count();
}

/// Asks each TLS server that something came from for its certificate.
void Gatherer::probeServers() {
    constexpr size_t kMostServers = 20;
    std::set<std::pair<std::string, int>> servers;
    for (const Delivered& it : deliveredIn(m_evidence)) {
        const hascommon::GURL url(it.url());
        constexpr uint64_t kDefaultPort = 443;
        constexpr uint64_t kMaxPort = 65535;
        const uint64_t port = parseUnsigned(url.port()).value_or(kDefaultPort);
        if (url.is_valid() && url.SchemeIs("https") && port <= kMaxPort)
            servers.emplace(url.host(), static_cast<int>(port));
    }
    for (const auto& [host, port] : servers) {
        if (!m_options.probe || isOver() || m_evidence.certificates.size() == kMostServers)
            return;
        const bool isBracketed = host.size() > 2 && host.front() == '[';
        m_evidence.certificates.push_back(
            m_options.probe({isBracketed ? host.substr(1, host.size() - 2) : host, port}));
    }
}

void Gatherer::sleepUntil(Clock::time_point then) const {
    for (;;) {
        const std::chrono::duration<double> left = then - m_options.time.steady();
        if (left.count() <= 0 || isInterrupted() || !m_source.troubleNow().empty())
            return;
        const double step = std::min(left.count(), kLongestSleep);
        if (m_options.sleep)
            m_options.sleep(std::min(left.count(), kIdle));
        else
            std::this_thread::sleep_for(std::chrono::duration<double>(step));
    }
}

bool Gatherer::isOver() {
    if (m_evidence.cutShort.empty())
        m_evidence.cutShort = m_source.troubleNow();
    return !m_evidence.cutShort.empty();
}

} // namespace

Evidence gather(const std::string& url, CheckSource& source, const CheckOptions& options) {
    return Gatherer(url, source, options).gather();
}

} // namespace hastool
