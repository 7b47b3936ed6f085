#include "Downloader.h"

#include "ResultText.h"
#include <hastool/base/Interrupt.h>

#include <Hascommon/GURL.h>
#include <Hasnet/Curl_HLS.h>
#include <Hasnet/ResultCode.h>

#include <algorithm>
#include <ctime>

#include <poll.h>

namespace hastool {
namespace {

constexpr int kMaxParallel = 20; // the engine has no more units
constexpr int kLoopMicroseconds = 1000;
constexpr long kPartialContent = 206;
constexpr std::chrono::milliseconds kMaxRetryPause{30000};

/// The pause before the n-th repetition, from 1.
std::chrono::milliseconds pauseBefore(int retry, std::chrono::milliseconds first) {
    std::chrono::milliseconds pause = first;
    for (int i = 1; i < retry && pause < kMaxRetryPause; ++i)
        pause *= 2;
    return std::min(pause, kMaxRetryPause);
}

} // namespace

Downloader::Downloader(EngineOptions options, hascommon::IDownloadEvent* traffic)
    : m_options(std::move(options))
    , m_traffic(traffic) {
    openEngine();
}

Downloader::~Downloader() {
    m_curl->Quit();
}

void Downloader::openEngine() {
    using hascommon::Curl;
    m_curl.reset();
    if (m_options.retriesBrokenConnections)
        m_curl = std::make_unique<hascommon::Curl_HLS>(hascommon::CURL_THREAD_PACED,
                                                       kLoopMicroseconds, m_options.cookieId);
    else
        m_curl = std::make_unique<Curl>(hascommon::CURL_THREAD_PACED, kLoopMicroseconds,
                                        m_options.cookieId);
    m_curl->SetStrictCookies(true); // Before Init(), so that it holds for the stored cookies too.
    m_curl->Init(this, m_traffic);
    m_curl->SetAgent(m_options.agent);
    m_curl->SetProxy(m_options.proxy);
    m_curl->SetVerifyPeer(!m_options.caFile.empty());
    m_curl->SetCaFile(m_options.caFile);
    if (m_options.engineInfo) {
        unsigned int info = *m_options.engineInfo;
        m_curl->setEngineInfo(&info);
    }
    m_curl->StartLoop();
    m_fresh = true;
}

void Downloader::setParallel(int count) {
    m_parallel = std::clamp(count, 1, kMaxParallel);
}

Downloader::Id Downloader::add(const Resource& resource, ByteSink& sink, bool whole) {
    auto transfer = std::make_unique<Transfer>();
    transfer->resource = resource;
    transfer->sink = &sink;
    transfer->whole = whole;
    const Id id = m_nextId++;
    m_transfers.emplace(id, std::move(transfer));
    m_queue.push_back(id);
    return id;
}

bool Downloader::pump() {
    collect();
    beginQueued();
    return m_running > 0 || !m_queue.empty();
}

void Downloader::wait(std::chrono::nanoseconds most) const {
    const auto now = std::chrono::steady_clock::now();
    for (const Id id : m_queue) {
        const auto due = m_transfers.at(id)->notBefore;
        if (due > now) // One that is due waits for a unit, which another download's end frees.
            most = std::min<std::chrono::nanoseconds>(most, due - now);
    }
    constexpr long long kSecond = 1000000000;
    const auto left = std::max<long long>(most.count(), 0);
    const timespec time{static_cast<time_t>(left / kSecond),
                        static_cast<decltype(timespec::tv_nsec)>(left % kSecond)};
    pollfd completion{m_curl->CompletionFd(), POLLIN, 0};
    ppoll(&completion, 1, &time, nullptr);
}

/// A unit stays with the host that it served first. A download for which no unit is left waits, or
/// gets a fresh engine when nothing runs that could free a unit.
void Downloader::beginQueued() {
    for (size_t i = 0; i < m_queue.size() && m_running < m_parallel;) {
        Transfer& transfer = *m_transfers.at(m_queue[i]);
        if (transfer.notBefore > std::chrono::steady_clock::now()) {
            ++i;
            continue;
        }
        Begun begun = begin(transfer);
        if (begun == Begun::NoUnit && m_running == 0 && !m_fresh) {
            openEngine();
            begun = begin(transfer);
        }
        if (begun == Begun::NoUnit && m_running > 0) {
            ++i;
            continue;
        }
        if (begun != Begun::Yes)
            finish(transfer, -1, {});
        m_queue.erase(m_queue.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

Downloader::Begun Downloader::begin(Transfer& transfer) {
    // libcurl knows other schemes too, which no playlist may lead to: local files above all.
    const hascommon::GURL url(transfer.resource.url);
    if (!url.SchemeIs("http") && !url.SchemeIs("https"))
        return Begun::Failed;
    transfer.answered = false;
    transfer.refused = false;
    transfer.redirectedTo.clear();
    if (transfer.begun == std::chrono::steady_clock::time_point())
        transfer.begun = std::chrono::steady_clock::now();

    const uint64_t delivered = transfer.delivered;
    ByteRange wanted = transfer.resource.range.value_or(ByteRange());
    wanted.first += delivered;
    if (wanted.length)
        *wanted.length -= delivered;
    const bool isPart = transfer.resource.range || delivered > 0;
    hascommon::UnitObject* unit = nullptr;
    const int result =
        m_curl->BeginDownload2(m_curl->GetRequestKey(), transfer.resource.url,
                               isPart ? rangeText(wanted) : "", false, unit, false, &transfer);
    if (result != 0 || unit == nullptr)
        return Begun::NoUnit;
    transfer.unit = unit;
    if (m_paused)
        m_curl->Pause(unit);
    ++m_running;
    m_fresh = false;
    return Begun::Yes;
}

void Downloader::collect() {
    int code = 0;
    long date = 0;
    while (hascommon::UnitObject* unit = m_curl->GetCompleted(code, date)) {
        for (auto& [id, transfer] : m_transfers) {
            if (transfer->unit == unit) {
                conclude(id, *transfer, code);
                break;
            }
        }
    }
}

/// An attempt has ended: take stock, and queue another one where it helps.
void Downloader::conclude(Id id, Transfer& transfer, int code) {
    Ending ending;
    m_curl->GetUnitInfo(transfer.unit, ending.info);
    m_curl->GetFailure(transfer.unit, ending.failure);
    m_curl->EndDownload(transfer.unit);
    transfer.unit = nullptr;
    --m_running;
    const auto& range = transfer.resource.range;
    if (transfer.complete)
        code = 0;
    else if (code == 0 && transfer.whole && range && transfer.delivered < range->length.value_or(0))
        code = hascommon::RESULT_PARTIAL;
    if (isRetried(transfer, code, ending.info.httpStatus))
        repeat(id, transfer, shortFailureText(code, ending.failure));
    else
        finish(transfer, code, ending);
}

void Downloader::repeat(Id id, Transfer& transfer, const std::string& why) {
    ++transfer.retries;
    transfer.notBefore =
        std::chrono::steady_clock::now() + pauseBefore(transfer.retries, m_options.retryPause);
    m_queue.push_front(id);
    if (m_retryHook)
        m_retryHook(id, "retry " + std::to_string(transfer.retries) + " of " +
                            std::to_string(m_options.maxRetries) + ", " + why);
}

bool Downloader::isRetried(const Transfer& transfer, int code, long httpStatus) const {
    if (transfer.cancelled || transfer.refused || transfer.retries >= m_options.maxRetries)
        return false;
    if (code == 0 || code == hascommon::RESULT_CANCELLED || code == hascommon::RESULT_RETRY_LIMIT)
        return false;
    return code == hascommon::RESULT_PARTIAL || hascommon::isRetried(httpStatus);
}

void Downloader::finish(Transfer& transfer, int code, const Ending& ending) {
    using namespace std::chrono;
    const hascommon::Curl::UnitInfo& info = ending.info;
    Outcome outcome;
    outcome.ok = code == 0;
    outcome.code = code;
    outcome.httpStatus = info.httpStatus;
    outcome.bytes = transfer.delivered;
    outcome.retries = transfer.retries;
    outcome.redirects = info.redirects;
    outcome.latency = milliseconds(info.latency);
    outcome.time = duration_cast<milliseconds>(steady_clock::now() - transfer.begun);
    outcome.url = transfer.redirectedTo.empty() ? transfer.resource.url : transfer.redirectedTo;
    if (transfer.refused)
        outcome.failure = transfer.sink->failure();
    else if (!outcome.ok)
        outcome.failure = failureText(code, ending.failure, !m_options.proxy.empty());
    transfer.outcome = std::move(outcome);
}

const Outcome* Downloader::outcome(Id id) const {
    const auto& outcome = m_transfers.at(id)->outcome;
    return outcome ? &*outcome : nullptr;
}

uint64_t Downloader::received(Id id) const {
    return m_transfers.at(id)->delivered;
}

uint64_t Downloader::expected(Id id) const {
    return m_transfers.at(id)->expected;
}

bool Downloader::hasBegun(Id id) const {
    return m_transfers.at(id)->begun != std::chrono::steady_clock::time_point();
}

void Downloader::pause() {
    m_paused = true;
    for (auto& [id, transfer] : m_transfers) {
        if (transfer->unit != nullptr)
            m_curl->Pause(transfer->unit);
    }
}

void Downloader::resume() {
    m_paused = false;
    for (auto& [id, transfer] : m_transfers) {
        if (transfer->unit != nullptr)
            m_curl->Resume(transfer->unit);
    }
}

void Downloader::cancelAll() {
    resume(); // so that what is cancelled comes to its end
    for (const Id id : m_queue)
        finish(*m_transfers.at(id), hascommon::RESULT_CANCELLED, {});
    m_queue.clear();
    for (auto& [id, transfer] : m_transfers) {
        transfer->cancelled = true;
        if (transfer->unit != nullptr)
            m_curl->Cancel(transfer->unit);
    }
}

void Downloader::forget(Id id) {
    m_transfers.erase(id);
}

void Downloader::OnDownloadBegin(hascommon::UnitObject*) {}

int Downloader::OnDataReceived(hascommon::UnitObject* unit, int, unsigned char* data,
                               unsigned int size) {
    auto* const transfer = static_cast<Transfer*>(m_curl->GetData(unit));
    if (transfer != nullptr && !transfer->refused && !transfer->complete)
        deliver(*transfer, unit, data, size);
    return 0;
}

/// Hands on the bytes that are wanted; drops those before and behind them.
void Downloader::deliver(Transfer& transfer, hascommon::UnitObject* unit, const unsigned char* data,
                         size_t size) {
    if (!transfer.answered)
        takeAnswer(transfer, unit);
    const auto dropped = static_cast<size_t>(std::min<uint64_t>(transfer.skip, size));
    transfer.skip -= dropped;
    data += dropped;
    size -= dropped;
    const ByteRange range = transfer.resource.range.value_or(ByteRange());
    if (range.length)
        size = static_cast<size_t>(std::min<uint64_t>(size, *range.length - transfer.delivered));
    if (size > 0 && !transfer.sink->write(data, size)) {
        transfer.refused = true;
        m_curl->Cancel(unit);
        return;
    }
    transfer.delivered += size;
    transfer.complete = range.length && transfer.delivered == *range.length;
    // An answer that goes on behind the range is broken off, at the cost of its connection.
    if (transfer.complete && !transfer.isPart)
        m_curl->Cancel(unit);
}

/// A server that does not know ranges sends everything from the start.
void Downloader::takeAnswer(Transfer& transfer, hascommon::UnitObject* unit) {
    hascommon::Curl::UnitInfo info;
    m_curl->GetUnitInfo(unit, info);
    const ByteRange range = transfer.resource.range.value_or(ByteRange());
    const auto length = static_cast<uint64_t>(std::max(info.contentLength, 0LL));
    transfer.answered = true;
    transfer.isPart = info.httpStatus == kPartialContent;
    transfer.skip = transfer.isPart ? 0 : range.first + transfer.delivered;
    if (range.length)
        transfer.expected = *range.length;
    else if (length > 0)
        transfer.expected =
            transfer.isPart ? transfer.delivered + length : length - std::min(length, range.first);
}

void Downloader::OnRedirected(hascommon::UnitObject* unit, std::string location) {
    auto* const transfer = static_cast<Transfer*>(m_curl->GetData(unit));
    if (transfer != nullptr)
        transfer->redirectedTo = std::move(location);
}

Outcome download(Downloader& downloader, const Resource& resource, ByteSink& sink, bool whole,
                 const std::function<void()>& tick) {
    const Downloader::Id id = downloader.add(resource, sink, whole);
    bool cancelled = false;
    while (downloader.pump()) {
        tick();
        if (isInterrupted() && !cancelled) {
            downloader.cancelAll();
            cancelled = true;
        }
        downloader.wait(kLookInterval);
    }
    Outcome outcome = *downloader.outcome(id);
    downloader.forget(id);
    return outcome;
}

} // namespace hastool
