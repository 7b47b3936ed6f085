// One download.
#pragma once

#include <Hasnet/DownloadFailure.h>
#include <Hasnet/detail/ItemLock.h>
#include <Hasnet/detail/Transfer.h>
#include <Hasnet/detail/UnitState.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace hascommon {

namespace detail {
class Engine;
}

/// A slot of the unit table and the request that holds it.
///
/// Three threads may meet here: the one that begins the request, the one that runs the pass, and
/// any other of the owner's. Fields are therefore either written before the request is handed to
/// the pass and only read after, or atomics, or guarded by the item lock, or the pass's own.
class UnitObject {
public:
    UnitObject(int unitSlot, detail::Engine& owner)
        : slot(unitSlot)
        , engine(owner) {}
    UnitObject(const UnitObject&) = delete;
    UnitObject& operator=(const UnitObject&) = delete;

    const int slot;
    detail::Engine& engine; ///< for libcurl's callbacks, which get the unit alone
    detail::UnitStateMachine state;

    // Written before the request is handed to the pass.
    int infoIndex = 0;
    std::string url;
    detail::Transfer transfer; ///< the pass's alone from then on
    std::thread::id beginner;
    bool flag = false;
    bool keepInfo = false;

    /// The host the slot is bound to: -1 before its first use, 0 for none.
    std::atomic<int> hostIndex{-1};
    /// Body bytes of this attempt. Counted in full; GetPos() tells the low 32 bits.
    std::atomic<unsigned long long> received{0};
    /// 0 until known.
    std::atomic<unsigned long long> contentLength{0};
    std::atomic<int> retries{0};
    std::atomic<int> code{0};
    std::atomic<long> httpStatus{0};
    std::atomic<long> redirects{0};
    std::atomic<long long> beginTime{0};
    std::atomic<long long> latency{0};
    std::atomic<long long> lastRxTime{0};
    std::atomic<long long> resumeTime{0};
    std::atomic<void*> userData{nullptr};
    /// A unit that its owner may not pause; nothing in the engine asks for it yet.
    std::atomic<bool> notPausable{false};
    /// The request is in the hands of the pass, which looks at no other's guarded fields: set when
    /// the request is handed over, cleared under the item lock when it is collected.
    std::atomic<bool> queued{false};
    /// Somebody collects the unit, or has. Set under the item lock, by one who will.
    std::atomic<bool> endRequested{false};
    /// The owner has cancelled it and nobody has acted on that: a second Cancel() is told so. The
    /// transfer's end takes the mark back, so a completed unit may be cancelled (once more). State
    /// Aborted, besides, is what holds the bytes off and stops the transfer.
    std::atomic<bool> aborted{false};
    /// A Reset() is getting rid of it.
    std::atomic<bool> resetMark{false};
    /// Counts the requests that the slot has served.
    std::atomic<unsigned int> generation{0};

    /// Body that arrived while the unit was paused.
    std::vector<unsigned char> pauseBuffer HAS_GUARDED_BY(detail::itemLock);
    long long pauseStart HAS_GUARDED_BY(detail::itemLock) = 0;
    long long pausedTotal HAS_GUARDED_BY(detail::itemLock) = 0;
    /// Body bytes that the owner has from an earlier attempt.
    unsigned long long skipBytes HAS_GUARDED_BY(detail::itemLock) = 0;
    /// Where the last redirect led, absolute.
    std::string location HAS_GUARDED_BY(detail::itemLock);
    /// Where the response whose headers are coming in redirects to.
    std::string hopLocation HAS_GUARDED_BY(detail::itemLock);

    /// The responses' header lines as they came.
    std::string headerLines HAS_GUARDED_BY(detail::itemLock);

    /// How the transfer went, once libcurl is done with it.
    DownloadFailure report HAS_GUARDED_BY(detail::itemLock);

    /// A response's headers have begun and not ended.
    bool inHeaders HAS_GUARDED_BY(detail::itemLock) = false;

    /// The transfer's time limits are due to be set for a pause or a resume.
    bool limitsDue HAS_GUARDED_BY(detail::itemLock) = false;
    /// libcurl is done with the transfer; the unit completes once its owner has all bytes.
    bool finished HAS_GUARDED_BY(detail::itemLock) = false;

    bool IsPaused() const { return state.Is(detail::UnitState::Paused); }
    bool IsAborted() const { return state.Is(detail::UnitState::Aborted); }
    bool IsCompleted() const { return state.Is(detail::UnitState::Completed); }
    bool InUse() const { return state.InUse(); }

    /// Clears what the request before has left; the slot is in state Preparing, so that no other
    /// thread looks at it and no lock is needed.
    void Prepare(const std::string& newUrl, int index, bool newKeepInfo, bool newFlag,
                 void* newUserData, long long now) HAS_NO_THREAD_SAFETY_ANALYSIS;
};

} // namespace hascommon
