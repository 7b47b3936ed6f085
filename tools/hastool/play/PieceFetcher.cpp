#include "PieceFetcher.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/SegmentDecryptor.h>

#include <Hascommon/GURL.h>

#include <utility>

namespace hastool {
namespace {

constexpr size_t kMaxKeyBytes = 1u << 20; // to be able to say that it is none
constexpr size_t kMaxInitBytes = 16u << 20;
constexpr size_t kMaxSegmentBytes = 256u << 20; // minutes of the best video there is

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

PieceFetcher::PieceFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic,
                           std::function<void()> tick)
    : m_tick(std::move(tick))
    , m_downloader(forPlayer(std::move(options)), &traffic)
    , m_keys([this](const std::string& url, std::string& bytes) {
        return fetch({url, std::nullopt}, kMaxKeyBytes, bytes);
    }) {}

void PieceFetcher::onRetry(std::function<void(const std::string& what)> hook) {
    m_downloader.onRetry([this, hook = std::move(hook)](Downloader::Id, const std::string& what) {
        hook(m_fetching + ": " + what);
    });
}

Document PieceFetcher::document(const Resource& resource) {
    Document document;
    const Outcome outcome = fetch(resource, kMaxManifestBytes, document.text);
    if (!outcome.ok)
        throw ToolError(resource.url, outcome.failure);
    document.url = outcome.url;
    return document;
}

Outcome PieceFetcher::segment(const MediaPart& part, uint64_t index, std::string& bytes) {
    return fetchPart(part, index, kMaxSegmentBytes, bytes);
}

Outcome PieceFetcher::init(const MediaPart& part, uint64_t index, std::string& bytes) {
    return fetchPart(part, index, kMaxInitBytes, bytes);
}

Outcome PieceFetcher::fetchPart(const MediaPart& part, uint64_t index, size_t limit,
                                std::string& bytes) {
    if (!part.encryption)
        return fetch(part.resource, limit, bytes);
    try {
        return decrypt(part, "segment " + std::to_string(index), limit, bytes);
    } catch (const ToolError&) {
        if (!isInterrupted())
            throw;
        return {};
    }
}

Outcome PieceFetcher::decrypt(const MediaPart& part, const std::string& name, size_t limit,
                              std::string& bytes) {
    const AesBytes key = m_keys.get(part.encryption->keyUrl, name);
    MemorySink plain(limit);
    SegmentDecryptor decryptor(key, part.encryption->iv, true, plain);
    Outcome outcome = fetchInto(part.resource, decryptor);
    if (outcome.ok && !decryptor.finish())
        throw ToolError(part.resource.url, name + " cannot be decrypted: " + decryptor.failure());
    bytes = std::move(plain.bytes());
    return outcome;
}

void PieceFetcher::rewrite(const MediaPiece& piece, const MediaPart& part, std::string& bytes) {
    if (piece.protection)
        bytes = m_protected.rewrite(*piece.protection, bytes, part.resource.url);
}

Outcome PieceFetcher::fetch(const Resource& resource, size_t limit, std::string& bytes) {
    MemorySink sink(limit);
    Outcome outcome = fetchInto(resource, sink);
    bytes = std::move(sink.bytes());
    return outcome;
}

Outcome PieceFetcher::fetchInto(const Resource& resource, ByteSink& sink) {
    m_fetching = nameIn(resource.url);
    Outcome outcome = download(m_downloader, resource, sink, true, m_tick);
    ++m_downloads;
    m_retries += static_cast<uint64_t>(outcome.retries);
    return outcome;
}

void PieceFetcher::hold(bool held) {
    if (held == isHeld())
        return;
    if (held)
        m_downloader.pause();
    else
        m_downloader.resume();
}

} // namespace hastool
