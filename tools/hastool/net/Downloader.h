// Downloads over one download engine.
#pragma once

#include "Attempt.h"
#include "ByteRange.h"
#include "PartFile.h"
#include "TransferTimer.h"
#include "TransferTrace.h"
#include <hastool/base/ByteSink.h>

#include <Hasnet/Curl.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// How the download engine is set up.
struct EngineOptions {
    std::string cookieId; ///< the application id that names the cookie files
    std::string agent;
    std::string proxy;
    std::optional<unsigned int> engineInfo;
    std::string caFile; ///< trusted certificates; empty: servers are not verified
    /// A connection that breaks counts as a body cut short, which is retried.
    bool retriesBrokenConnections = false;
    /// The engine has a thread of its own. Without one Downloader::wait() drives it, which spares
    /// small downloads the way from thread to thread; a sink that takes its time then holds up the
    /// owner too.
    bool hasThread = true;
    std::vector<std::string> headers; ///< "Name: value", for every request
    TimeLimits limits;
    Verbosity verbosity = Verbosity::None;
    int maxRetries = 20;
    /// The pause before the first retry; each further pause is twice as long, up to half a minute.
    std::chrono::milliseconds retryPause{0};
};

/// How a download ended.
struct Outcome {
    bool ok = false;
    int code = 0;        ///< the engine's unit code
    long httpStatus = 0; ///< of the last attempt
    uint64_t bytes = 0;
    uint64_t kept = 0; ///< of the bytes, from an earlier run
    int retries = 0;
    long redirects = 0;
    std::chrono::milliseconds latency{0}; ///< to the first byte, of the last attempt
    std::chrono::milliseconds time{0};    ///< of all attempts
    std::string url;                      ///< where it came from, after all redirects
    std::string failure;                  ///< why it is not ok
    std::vector<Attempt> attempts;        ///< the last ones
    std::string headerLines;              ///< of the last attempt's responses
};

/// Queues downloads over one engine, 20 at once at most, and repeats those that the engine counts
/// as worth repeating: HTTP 403, 404, 500, 503, 504 and bodies cut short. Bytes that have come are
/// kept, and only the rest is asked for. Each such failure holds up the engine, with all its other
/// downloads, for half a second.
///
/// One thread owns the object and calls all operations; sinks are written on the engine's thread.
class Downloader : private hascommon::ICurlCB {
public:
    using Id = int;
    /// Is told of a repetition before it is made: "retry 3 of 20, HTTP 404".
    using RetryHook = std::function<void(Id id, const std::string& what)>;

    /// @param traffic  observes the engine's traffic, borrowed; may be null
    explicit Downloader(EngineOptions options, hascommon::IDownloadEvent* traffic = nullptr);
    ~Downloader() override;
    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    /// How many downloads run at once, 1 to 20.
    void setParallel(int count);

    /// Sets the function that is told of repetitions; pump() calls it.
    void onRetry(RetryHook hook) { m_retryHook = std::move(hook); }

    /// Queues a download. The sink is borrowed until the download has ended.
    /// @param whole  whether a range that ends early counts as a body cut short
    Id add(const Resource& resource, ByteSink& sink, bool whole = false);

    /// Queues the download of a whole resource behind the bytes that a file has. What is missing is
    /// asked for by If-Range. A server that sends everything, or whose answer does not fit what is
    /// there, has it begun anew. The file is borrowed until the download has ended.
    Id add(const std::string& url, PartFile& file);

    /// Begins what can be begun and collects what has ended; to be called again and again.
    /// @return whether downloads are unfinished
    bool pump();

    /// Whether another download would begin at once; after a pump().
    bool hasRoom() const;

    /// Waits until pump() has something to do, but not longer than `most`.
    void wait(std::chrono::nanoseconds most);

    /// How a download ended; null while it has not.
    const Outcome* outcome(Id id) const;
    /// Bytes so far, and how many there will be (0 when not known).
    uint64_t received(Id id) const;
    uint64_t expected(Id id) const;
    bool hasBegun(Id id) const;

    /// Holds all downloads, those that are added too: connections stay open and no bytes come.
    void pause();
    void resume();
    bool isPaused() const { return m_paused; }

    /// Ends a download that has not ended.
    void cancel(Id id);
    /// Ends everything that has not ended.
    void cancelAll();
    /// Forgets a download that has ended.
    void forget(Id id);

private:
    struct Transfer {
        Id id = 0;
        Resource resource;
        ByteSink* sink = nullptr;
        PartFile* part = nullptr; ///< the sink, where it may have bytes already
        bool whole = false;
        hascommon::UnitObject* unit = nullptr; ///< while an attempt runs
        std::chrono::steady_clock::time_point begun;
        std::optional<Outcome> outcome;
        std::vector<Attempt> ended; ///< attempts
        std::string headerLines;    ///< of the last one
        int retries = 0;
        std::chrono::steady_clock::time_point notBefore; ///< the next attempt
        bool cancelled = false;
        std::string redirectedTo;
        TransferTimer timer;
        std::chrono::steady_clock::time_point attemptBegun;
        unsigned int position = 0; ///< of the attempt, when it was last looked at
        std::string overdue;       ///< the limit that has ended it
        uint64_t kept = 0;         ///< bytes of an earlier run that are gone on with
        int attempts = 0;          ///< of a part
        bool begunAnew = false;    ///< after an answer that did not fit
        // Written on the engine's thread:
        std::atomic<uint64_t> expected{0};
        std::atomic<uint64_t> delivered{0}; ///< by all attempts
        std::atomic<bool> refused{false};   ///< the sink took no more
        std::atomic<bool> complete{false};  ///< all bytes of a range with a length are there
        bool answered = false;              ///< this attempt's status is known
        bool isPart = false;                ///< the server answers with the range, not with all
        uint64_t skip = 0;                  ///< bytes to drop before the first that is wanted
        std::optional<uint64_t> total;      ///< bytes of the whole part, when all are there
        std::atomic<bool> misfits{false};   ///< the answer is of no use for the part
    };
    enum class Begun { Yes, NoUnit, Failed };

    void OnDownloadBegin(hascommon::UnitObject* unit) override;
    int OnDataReceived(hascommon::UnitObject* unit, int code, unsigned char* data,
                       unsigned int size) override;
    void OnRedirected(hascommon::UnitObject* unit, std::string location) override;

    Id queue(std::unique_ptr<Transfer> transfer);
    void openEngine();
    static bool resumePart(Transfer& transfer);
    std::vector<std::string> headersFor(const Transfer& transfer) const;
    void giveUpOverdue();
    bool isOverdue(Transfer& transfer, std::chrono::steady_clock::time_point now);
    void beginQueued();
    Begun begin(Transfer& transfer);
    void collect();
    void collect(hascommon::UnitObject* unit, int code);
    std::chrono::nanoseconds untilDue(std::chrono::nanoseconds most) const;
    void drive(std::chrono::nanoseconds most);
    void conclude(Id id, Transfer& transfer, int code);
    void repeat(Id id, Transfer& transfer, const std::string& why);
    /// What the engine says of a transfer that has ended.
    struct Ending {
        hascommon::Curl::UnitInfo info;
        hascommon::DownloadFailure failure;
    };
    void finish(Transfer& transfer, int code, const Ending& ending);
    bool isRetried(const Transfer& transfer, int code, long httpStatus) const;
    void takeAnswer(Transfer& transfer, hascommon::UnitObject* unit);
    void takePartAnswer(Transfer& transfer, hascommon::UnitObject* unit);
    ResponseHead headOf(hascommon::UnitObject* unit);
    int codeOfPart(Transfer& transfer, int code);
    void record(Transfer& transfer, int code, const Ending& ending);
    void deliver(Transfer& transfer, hascommon::UnitObject* unit, const unsigned char* data,
                 size_t size);

    const EngineOptions m_options;
    const TransferTrace m_trace;
    hascommon::IDownloadEvent* const m_traffic;
    std::unique_ptr<hascommon::Curl> m_curl;
    std::map<Id, std::unique_ptr<Transfer>> m_transfers;
    std::deque<Id> m_queue;
    RetryHook m_retryHook;
    int m_running = 0;
    int m_parallel = 20;
    Id m_nextId = 1;
    bool m_paused = false;
    std::vector<std::string> m_sentHeaders; ///< that the engine has
    std::chrono::steady_clock::time_point m_lastLook;
    std::atomic<bool> m_writing{false}; ///< a sink takes its time, and holds the engine up
    bool m_fresh = true;                ///< no download has run over the engine yet
};

/// Runs one download to its end, calling `tick` every now and then.
Outcome download(Downloader& downloader, const Resource& resource, ByteSink& sink, bool whole,
                 const std::function<void()>& tick);

/// How long an owner waits at most, who also looks whether the user has interrupted.
constexpr std::chrono::milliseconds kLookInterval{20};

} // namespace hastool
