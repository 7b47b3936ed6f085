#include "Downloader.h"

#include "RequestHeader.h"
#include "ResourceState.h"
#include "ResultText.h"
#include <hastool/base/Interrupt.h>

#include <Hascommon/GURL.h>
#include <Hasnet/Curl_HLS.h>
#include <Hasnet/ResultCode.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include <poll.h>

namespace hastool {
namespace {

constexpr int kMaxParallel = 20; // the engine has no more units
/// The loop waits for traffic itself, and sleeps a millisecond only while there is nothing to do.
constexpr int kLoopMicroseconds = 0;
constexpr long kPartialContent = 206;
constexpr long kRangeNotSatisfiable = 416;
constexpr std::chrono::milliseconds kMaxRetryPause{30000};

/// The pause before the n-th repetition, from 1.
std::chrono::milliseconds pauseBefore(int retry, std::chrono::milliseconds first) {
    std::chrono::milliseconds pause = first;
    for (int i = 1; i < retry && pause < kMaxRetryPause; ++i)
        pause *= 2;
    return std::min(pause, kMaxRetryPause);
}

double inSeconds(long long microseconds) {
    return static_cast<double>(microseconds) / 1e6;
}

bool isAcceptEncoding(const std::string& line) {
    return isHeaderNamed(line, "Accept-Encoding");
}

} // namespace

Downloader::Downloader(EngineOptions options, hascommon::IDownloadEvent* traffic)
    : m_options(std::move(options))
    , m_trace(m_options.verbosity)
    , m_traffic(traffic)
    , m_lastLook(std::chrono::steady_clock::now()) {
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
    m_curl->SetConnectLimit(static_cast<int>(m_options.limits.connect.count()));
    if (m_options.engineInfo) {
        unsigned int info = *m_options.engineInfo;
        m_curl->setEngineInfo(&info);
    }
    m_sentHeaders.clear();
    if (m_options.hasThread)
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
    return queue(std::move(transfer));
}

Downloader::Id Downloader::add(const std::string& url, PartFile& file) {
    auto transfer = std::make_unique<Transfer>();
    transfer->resource = {url, std::nullopt};
    transfer->sink = &file;
    transfer->part = &file;
    return queue(std::move(transfer));
}

Downloader::Id Downloader::queue(std::unique_ptr<Transfer> transfer) {
    const Id id = m_nextId++;
    transfer->id = id;
    m_transfers.emplace(id, std::move(transfer));
    m_queue.push_back(id);
    return id;
}

bool Downloader::pump() {
    collect();
    giveUpOverdue();
    beginQueued();
    return m_running > 0 || !m_queue.empty();
}

bool Downloader::hasRoom() const {
    const auto now = std::chrono::steady_clock::now();
    const auto isDue = [&](Id id) { return m_transfers.at(id)->notBefore <= now; };
    return m_running < m_parallel && std::none_of(m_queue.begin(), m_queue.end(), isDue);
}

/// The time until a repetition is due, but not more than `most`.
std::chrono::nanoseconds Downloader::untilDue(std::chrono::nanoseconds most) const {
    const auto now = std::chrono::steady_clock::now();
    for (const Id id : m_queue) {
        const auto due = m_transfers.at(id)->notBefore;
        if (due > now) // One that is due waits for a unit, which another download's end frees.
            most = std::min<std::chrono::nanoseconds>(most, due - now);
    }
    return std::max(most, std::chrono::nanoseconds(0));
}

void Downloader::wait(std::chrono::nanoseconds most) {
    most = untilDue(most);
    if (!m_options.hasThread) {
        drive(most);
        return;
    }
    constexpr long long kSecond = 1000000000;
    const long long left = most.count();
    const timespec time{static_cast<time_t>(left / kSecond),
                        static_cast<decltype(timespec::tv_nsec)>(left % kSecond)};
    pollfd completion{m_curl->CompletionFd(), POLLIN, 0};
    ppoll(&completion, 1, &time, nullptr);
}

/// Lets the engine work until a download completes, or the time is up.
void Downloader::drive(std::chrono::nanoseconds most) {
    using namespace std::chrono;
    int code = 0;
    long date = 0;
    const auto time = std::max(duration_cast<milliseconds>(most), milliseconds(1));
    if (hascommon::UnitObject* const unit =
            m_curl->WaitCompleted(code, date, static_cast<int>(time.count())))
        collect(unit, code);
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
    transfer.misfits = false;
    transfer.redirectedTo.clear();
    transfer.attemptBegun = std::chrono::steady_clock::now();
    if (transfer.begun == std::chrono::steady_clock::time_point())
        transfer.begun = transfer.attemptBegun;
    if (transfer.part != nullptr && !resumePart(transfer))
        return Begun::Failed;

    const uint64_t delivered = transfer.delivered;
    ByteRange wanted = transfer.resource.range.value_or(ByteRange());
    wanted.first += delivered;
    if (wanted.length)
        *wanted.length -= delivered;
    const bool isPart = transfer.resource.range || delivered > 0;
    const std::string range = isPart ? rangeText(wanted) : "";
    const std::vector<std::string> headers = headersFor(transfer);
    if (headers != m_sentHeaders) // A request keeps those that it begins with.
        m_curl->SetRequestHeaders(headers);
    m_sentHeaders = headers;
    hascommon::UnitObject* unit = nullptr;
    const int result = m_curl->BeginDownload2(m_curl->GetRequestKey(), transfer.resource.url, range,
                                              false, unit, false, &transfer);
    if (result != 0 || unit == nullptr)
        return Begun::NoUnit;
    m_trace.request(transfer.id, transfer.resource.url, range, m_options.agent, headers);
    transfer.unit = unit;
    transfer.position = 0;
    transfer.timer.begin(transfer.attemptBegun);
    if (m_paused)
        m_curl->Pause(unit);
    ++m_running;
    m_fresh = false;
    return Begun::Yes;
}

/// What may not be asked to go on with begins again.
bool Downloader::resumePart(Transfer& transfer) {
    PartFile& part = *transfer.part;
    const bool mayGoOn = part.size() == 0 || !part.state().ifRange().empty();
    transfer.refused = !mayGoOn && !part.beginAnew({});
    transfer.delivered = part.size();
    if (transfer.attempts++ == 0)
        transfer.kept = part.size();
    return !transfer.refused;
}

/// The bytes of a part are counted as they are: no encoding of them is of use.
std::vector<std::string> Downloader::headersFor(const Transfer& transfer) const {
    std::vector<std::string> headers = m_options.headers;
    if (transfer.part == nullptr)
        return headers;
    if (std::none_of(headers.begin(), headers.end(), isAcceptEncoding))
        headers.emplace_back("Accept-Encoding: identity");
    if (transfer.delivered > 0)
        headers.push_back("If-Range: " + transfer.part->state().ifRange());
    return headers;
}

void Downloader::collect() {
    int code = 0;
    long date = 0;
    while (hascommon::UnitObject* unit = m_curl->GetCompleted(code, date))
        collect(unit, code);
}

void Downloader::collect(hascommon::UnitObject* unit, int code) {
    for (auto& [id, transfer] : m_transfers) {
        if (transfer->unit == unit) {
            conclude(id, *transfer, code);
            break;
        }
    }
}

/// An attempt has ended: take stock, and queue another one where it helps.
void Downloader::conclude(Id id, Transfer& transfer, int code) {
    Ending ending;
    m_curl->GetUnitInfo(transfer.unit, ending.info);
    m_curl->GetFailure(transfer.unit, ending.failure);
    record(transfer, code, ending);
    if (transfer.part != nullptr)
        code = codeOfPart(transfer, code);
    m_curl->EndDownload(transfer.unit);
    transfer.unit = nullptr;
    transfer.timer.end();
    --m_running;
    const auto& range = transfer.resource.range;
    if (transfer.complete)
        code = 0;
    else if (code == hascommon::RESULT_CANCELLED && !transfer.overdue.empty())
        code = hascommon::RESULT_TIMEOUT;
    else if (code == 0 && transfer.whole && range && transfer.delivered < range->length.value_or(0))
        code = hascommon::RESULT_PARTIAL;
    if (transfer.misfits && !transfer.begunAnew && !transfer.cancelled &&
        transfer.part->beginAnew({})) {
        transfer.begunAnew = true;
        transfer.kept = 0;
        m_queue.push_front(id);
        return;
    }
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
    if (transfer.cancelled || transfer.refused || transfer.misfits ||
        transfer.retries >= m_options.maxRetries)
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
    outcome.kept = transfer.kept;
    outcome.retries = transfer.retries;
    outcome.redirects = info.redirects;
    outcome.latency = milliseconds(info.latency);
    outcome.time = duration_cast<milliseconds>(steady_clock::now() - transfer.begun);
    outcome.url = transfer.redirectedTo.empty() ? transfer.resource.url : transfer.redirectedTo;
    if (transfer.refused)
        outcome.failure = transfer.sink->failure();
    else if (transfer.misfits)
        outcome.failure =
            "the server's answers do not fit the request (code " + std::to_string(code) + ")";
    else if (code == hascommon::RESULT_TIMEOUT && !transfer.overdue.empty())
        outcome.failure = "timed out: " + transfer.overdue + " (code " + std::to_string(code) + ")";
    else if (!outcome.ok)
        outcome.failure = failureText(code, ending.failure, !m_options.proxy.empty());
    outcome.attempts = transfer.ended;
    outcome.headerLines = std::move(transfer.headerLines);
    transfer.outcome = std::move(outcome);
}

/// Keeps what the attempt was, and tells it where that is asked for.
void Downloader::record(Transfer& transfer, int code, const Ending& ending) {
    using namespace std::chrono;
    const auto time = duration_cast<microseconds>(steady_clock::now() - transfer.attemptBegun);
    std::string lines;
    m_curl->GetResponseHeaders(transfer.unit, lines);
    Attempt attempt;
    attempt.result = code == 0 ? "HTTP " + std::to_string(ending.info.httpStatus)
                               : shortFailureText(code, ending.failure);
    attempt.peer = ending.failure.peer;
    attempt.cache = cacheFields(lines);
    attempt.lookup = inSeconds(ending.failure.nameLookup);
    attempt.connect = inSeconds(ending.failure.connect);
    attempt.tls = inSeconds(ending.failure.tls);
    attempt.firstByte = inSeconds(ending.failure.firstByte);
    attempt.end = inSeconds(time.count());
    attempt.bytes = static_cast<uint64_t>(ending.info.received);
    keepAttempt(transfer.ended, std::move(attempt));
    if (m_trace.isOn()) {
        m_trace.response(transfer.id, lines);
        m_trace.ending(transfer.id, ending.failure, time,
                       static_cast<unsigned long long>(ending.info.received),
                       resultText(code, ending.info.httpStatus));
    }
    transfer.headerLines = std::move(lines);
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

void Downloader::cancel(Id id) {
    Transfer& transfer = *m_transfers.at(id);
    if (transfer.outcome)
        return;
    transfer.cancelled = true;
    const auto queued = std::find(m_queue.begin(), m_queue.end(), id);
    if (queued != m_queue.end()) {
        m_queue.erase(queued);
        finish(transfer, hascommon::RESULT_CANCELLED, {});
    } else if (transfer.unit != nullptr) {
        m_curl->Resume(transfer.unit); // so that it comes to its end, if it is held
        m_curl->Cancel(transfer.unit);
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

/// Time counts neither while transfers are held nor while a sink holds the engine up.
void Downloader::giveUpOverdue() {
    const TimeLimits& limits = m_options.limits;
    if (limits.idle.count() == 0 && limits.total.count() == 0)
        return;
    const auto now = std::chrono::steady_clock::now();
    const auto passed = now - std::exchange(m_lastLook, now);
    const bool isHeld = m_paused || m_writing;
    std::vector<Id> waiting;
    for (auto& [id, transfer] : m_transfers) {
        if (transfer->outcome || transfer->begun == std::chrono::steady_clock::time_point())
            continue;
        if (isHeld)
            transfer->timer.hold(passed);
        if (isHeld || !isOverdue(*transfer, now))
            continue;
        if (transfer->unit != nullptr)
            m_curl->Cancel(transfer->unit);
        else
            waiting.push_back(id);
    }
    for (const Id id : waiting) {
        m_queue.erase(std::remove(m_queue.begin(), m_queue.end(), id), m_queue.end());
        finish(*m_transfers.at(id), hascommon::RESULT_TIMEOUT, {});
    }
}

bool Downloader::isOverdue(Transfer& transfer, std::chrono::steady_clock::time_point now) {
    if (transfer.unit != nullptr) {
        const unsigned int position = m_curl->GetPos(transfer.unit);
        if (std::exchange(transfer.position, position) != position)
            transfer.timer.progress(now);
    }
    if (transfer.overdue.empty())
        transfer.overdue = transfer.timer.overdue(m_options.limits, now);
    return !transfer.overdue.empty();
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
    if (transfer.misfits || transfer.refused) {
        m_curl->Cancel(unit);
        return;
    }
    const auto dropped = static_cast<size_t>(std::min<uint64_t>(transfer.skip, size));
    transfer.skip -= dropped;
    data += dropped;
    size -= dropped;
    const ByteRange range = transfer.resource.range.value_or(ByteRange());
    if (range.length)
        size = static_cast<size_t>(std::min<uint64_t>(size, *range.length - transfer.delivered));
    m_writing = true;
    const bool written = size == 0 || transfer.sink->write(data, size);
    m_writing = false;
    if (!written) {
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
    if (transfer.part != nullptr) {
        takePartAnswer(transfer, unit);
        return;
    }
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

ResponseHead Downloader::headOf(hascommon::UnitObject* unit) {
    std::string lines;
    m_curl->GetResponseHeaders(unit, lines);
    return ResponseHead(lines);
}

/// Before the first byte of an answer is taken it is clear where it belongs.
void Downloader::takePartAnswer(Transfer& transfer, hascommon::UnitObject* unit) {
    const ResponseHead head = headOf(unit);
    PartFile& part = *transfer.part;
    transfer.answered = true;
    transfer.skip = 0;
    const AnswerFit fit = fitOf(head, part.size(), part.state());
    transfer.isPart = fit == AnswerFit::GoesOn;
    transfer.misfits = fit == AnswerFit::NotAtAll;
    if (fit == AnswerFit::Anew) {
        transfer.delivered = 0;
        transfer.kept = 0;
        transfer.refused = !part.beginAnew(stateOf(head));
    }
    transfer.total = fit == AnswerFit::GoesOn ? totalOf(head, part.state()) : part.state().total;
    transfer.expected = transfer.total.value_or(0);
}

/// What an attempt's code means for a part: whether all of it is there now.
int Downloader::codeOfPart(Transfer& transfer, int code) {
    if (code == 0 && !transfer.answered)
        takePartAnswer(transfer, transfer.unit); // It had no body.
    if (transfer.refused)
        return hascommon::RESULT_CANCELLED;
    const ResponseHead head = headOf(transfer.unit);
    if (head.status() == kRangeNotSatisfiable && transfer.delivered > 0) {
        transfer.misfits = !saysComplete(head, transfer.delivered, transfer.part->state());
        code = 0;
    }
    if (code == 0 && transfer.total && transfer.delivered < *transfer.total)
        code = hascommon::RESULT_PARTIAL;
    if (code == 0 && transfer.total && transfer.delivered > *transfer.total)
        transfer.misfits = true;
    return transfer.misfits ? hascommon::RESULT_RECEIVE_ERROR : code;
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
