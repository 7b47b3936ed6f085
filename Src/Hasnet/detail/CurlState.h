// What a download engine holds.
#pragma once

#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hascommon/Thread.h>
#include <Hasnet/CHttpCookie.h>
#include <Hasnet/ConcreateCurlFactory.h>
#include <Hasnet/Curl.h>
#include <Hasnet/detail/HostTable.h>
#include <Hasnet/detail/ItemLock.h>
#include <Hasnet/detail/UnitObject.h>
#include <Hasnet/detail/UrlInfoTable.h>
#include <Hasnet/detail/WakeEvent.h>

#include <array>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace hascommon::detail {

/// What the owner has set for later requests.
struct RequestOptions {
    std::string userCookie;
    std::string proxy;
    std::string agent;
    std::string caFile;
    bool verifyPeer = false;
    HeaderList headerList;
};

/// The engine's state.
///
/// Locks, in the order they may be taken: itemLock, then one of beginMutex, optionsMutex and
/// queueMutex. None of the last three is held while anything outside is called.
class CurlState {
public:
    static constexpr int kUnits = 20;
    using MultiPointer = std::unique_ptr<ICurlMulti, std::function<void(ICurlMulti*)>>;

    CurlState(Curl& engine, curl_thread_option option, int loopSleepTime, std::string path);

    ConcreateCurlFactory<CurlEasy, CurlMulti> factory;
    const curl_thread_option threadOption;
    const int sleepTime; ///< microseconds
    const std::string cookiePath;
    std::atomic<ICurlCB*> cb{nullptr};
    std::atomic<IDownloadEvent*> ev{nullptr};
    std::atomic<bool> quit{false};
    std::atomic<bool> looping{false};
    std::atomic<unsigned int> requestKey{0};
    std::atomic<unsigned int> engineInfo{0};
    std::atomic<int> connTimeout{0};
    std::atomic<int> lowSpeedTimeout{0};
    std::atomic<long long> lastPauseTime{0};
    std::atomic<long long> lastResumeTime{0};
    /// libcurl has opened a socket that select cannot wait for.
    std::atomic<bool> highSockets{false};

    WakeEvent wake;
    ItemLock itemLock;
    CHttpCookie cookieJar;
    UrlInfoTable urlInfo;
    std::vector<std::unique_ptr<UnitObject>> units;
    MultiPointer multi HAS_PT_GUARDED_BY(itemLock);
    std::deque<UnitObject*> completed HAS_GUARDED_BY(itemLock);

    /// The thread on whose stack a pass stands; none between passes.
    std::atomic<std::thread::id> passThread{};
    /// Easy handles in the multi handle, finished ones included until they are reaped.
    std::atomic<int> handles{0};
    /// Some unit was paused or resumed, and libcurl has not been told.
    bool pausesDue HAS_GUARDED_BY(itemLock) = false;
    /// A Reset() from inside a callback, which the pass completes.
    bool resetByPass HAS_GUARDED_BY(itemLock) = false;

    Mutex beginMutex;
    HostTable hosts HAS_GUARDED_BY(beginMutex);

    mutable Mutex optionsMutex;
    RequestOptions options HAS_GUARDED_BY(optionsMutex);

    Mutex queueMutex;
    /// Requests for the pass that runs next.
    std::vector<UnitObject*> begun HAS_GUARDED_BY(queueMutex);
    /// Whether there are any, for a pass that looks often.
    std::atomic<bool> anyBegun{false};
    bool closed HAS_GUARDED_BY(queueMutex) = false;

    Mutex threadMutex;
    Thread thread HAS_GUARDED_BY(threadMutex);

    /// A copy of the options in force.
    RequestOptions Options() const;
    /// Takes the first slot that the host may have; null when there is none.
    UnitObject* TakeSlot(const std::string& host);
    /// Hands a request to the pass; refused once the engine has quit, and when a reset has made
    /// the request's key stale.
    bool Enqueue(UnitObject* unit, unsigned int key);
    /// Makes the keys handed out so far stale.
    void NextKey();
    std::vector<UnitObject*> TakeBegun();
    /// Ends the engine: no request is taken any more.
    void Close();
    /// Lets the engine run; @return whether a transfer thread has to be started for it.
    bool Open();
    /// Whether the transfer thread is to end; it counts as ended from then on.
    bool EndsLoop();

    /// Whether the caller stands inside a callback of a pass.
    bool InPass() const { return passThread == std::this_thread::get_id(); }
    bool PassRuns() const { return passThread.load() != std::thread::id(); }
    bool AllFree() const;
    /// Takes a unit out of the completed queue.
    void Forget(const UnitObject* unit) HAS_REQUIRES(itemLock);
};

} // namespace hascommon::detail
