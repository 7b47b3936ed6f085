#include "DocumentFetcher.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

/// How many documents are on their way at a time: each may be large.
constexpr size_t kAhead = 6;

} // namespace

DocumentFetcher::DocumentFetcher(EngineOptions options)
    : m_end(Clock::now() + options.limits.total)
    , m_downloader(std::move(options)) {}

void DocumentFetcher::expect(const std::vector<Resource>& resources) {
    m_expected.insert(m_expected.end(), resources.begin(), resources.end());
    beginExpected();
}

Document DocumentFetcher::fetch(const Resource& resource) {
    Transfer& transfer = begin(resource);
    await(transfer);
    const Outcome outcome = *m_downloader.outcome(transfer.id);
    const char* const trouble = outcome.ok ? nullptr : troubleNow();
    Document document{std::move(transfer.sink.bytes()), outcome.url};
    m_downloader.forget(transfer.id);
    const auto isIt = [&](const auto& it) { return it.get() == &transfer; };
    m_transfers.erase(std::find_if(m_transfers.begin(), m_transfers.end(), isIt));
    beginExpected();
    if (!outcome.ok)
        throw ToolError(resource.url, trouble != nullptr ? trouble : outcome.failure);
    return document;
}

/// The download of a resource, which may have begun before.
DocumentFetcher::Transfer& DocumentFetcher::begin(const Resource& resource) {
    const auto running = std::find_if(m_transfers.begin(), m_transfers.end(),
                                      [&](const auto& it) { return it->resource == resource; });
    if (running != m_transfers.end())
        return **running;
    const auto expected = std::find(m_expected.begin(), m_expected.end(), resource);
    if (expected != m_expected.end())
        m_expected.erase(expected);
    if (const char* const trouble = troubleNow())
        throw ToolError(resource.url, trouble);
    m_transfers.push_back(std::make_unique<Transfer>(resource));
    Transfer& transfer = *m_transfers.back();
    transfer.id = m_downloader.add(resource, transfer.sink, true);
    return transfer;
}

void DocumentFetcher::beginExpected() {
    while (m_transfers.size() < kAhead && !m_expected.empty() && troubleNow() == nullptr) {
        const Resource next = m_expected.front();
        begin(next);
    }
    m_downloader.pump();
}

void DocumentFetcher::await(const Transfer& transfer) {
    while (m_downloader.outcome(transfer.id) == nullptr) {
        if (troubleNow() != nullptr)
            m_downloader.cancelAll();
        m_downloader.pump();
        if (m_downloader.outcome(transfer.id) == nullptr)
            m_downloader.wait(kLookInterval);
    }
}

/// Why nothing more is to be fetched; null when all is well.
const char* DocumentFetcher::troubleNow() const {
    if (isInterrupted())
        return "interrupted";
    return Clock::now() >= m_end ? "not fetched: the time for all (--max-time) was up" : nullptr;
}

} // namespace hastool
