#include "QueuedFetcher.h"

#include <hastool/base/Interrupt.h>

#include <Hasnet/ResultCode.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

/// How many resources are on their way at a time: each may be large.
constexpr size_t kAhead = 6;

} // namespace

QueuedFetcher::QueuedFetcher(EngineOptions options, size_t limit)
    : m_end(Clock::now() + options.limits.total)
    , m_limit(limit)
    , m_downloader(std::move(options)) {}

void QueuedFetcher::expect(const std::vector<Resource>& resources) {
    m_expected.insert(m_expected.end(), resources.begin(), resources.end());
    beginExpected();
}

QueuedFetcher::Fetched QueuedFetcher::fetch(const Resource& resource) {
    Transfer* const transfer = begin(resource);
    Fetched fetched;
    if (transfer == nullptr) {
        fetched.begun = Clock::now();
        fetched.outcome.code = hascommon::RESULT_CANCELLED;
        fetched.outcome.url = resource.url;
        fetched.outcome.failure = troubleNow();
        return fetched;
    }
    await(*transfer);
    fetched.outcome = *m_downloader.outcome(transfer->id);
    if (const char* const trouble = troubleNow(); trouble != nullptr && !fetched.outcome.ok)
        fetched.outcome.failure = trouble;
    fetched.bytes = std::move(transfer->sink.bytes());
    fetched.begun = transfer->begun;
    m_downloader.forget(transfer->id);
    const auto isIt = [&](const auto& it) { return it.get() == transfer; };
    m_transfers.erase(std::find_if(m_transfers.begin(), m_transfers.end(), isIt));
    beginExpected();
    return fetched;
}

/// The download of a resource, which may have begun before; null when nothing more may begin.
QueuedFetcher::Transfer* QueuedFetcher::begin(const Resource& resource) {
    const auto running = std::find_if(m_transfers.begin(), m_transfers.end(),
                                      [&](const auto& it) { return it->resource == resource; });
    if (running != m_transfers.end())
        return running->get();
    const auto expected = std::find(m_expected.begin(), m_expected.end(), resource);
    if (expected != m_expected.end())
        m_expected.erase(expected);
    if (troubleNow() != nullptr)
        return nullptr;
    m_transfers.push_back(std::make_unique<Transfer>(resource, m_limit));
    Transfer& transfer = *m_transfers.back();
    transfer.id = m_downloader.add(resource, transfer.sink, true);
    return &transfer;
}

void QueuedFetcher::beginExpected() {
    while (m_transfers.size() < kAhead && !m_expected.empty() && troubleNow() == nullptr) {
        const Resource next = m_expected.front();
        begin(next);
    }
    m_downloader.pump();
}

void QueuedFetcher::await(const Transfer& transfer) {
    while (m_downloader.outcome(transfer.id) == nullptr) {
        if (troubleNow() != nullptr)
            m_downloader.cancelAll();
        m_downloader.pump();
        if (m_downloader.outcome(transfer.id) == nullptr)
            m_downloader.wait(kLookInterval);
    }
}

const char* QueuedFetcher::troubleNow() const {
    if (isInterrupted())
        return "interrupted";
    return Clock::now() >= m_end ? "not fetched: the time for all (--max-time) was up" : nullptr;
}

} // namespace hastool
