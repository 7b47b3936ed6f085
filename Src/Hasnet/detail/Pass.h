// The pass: the one place where libcurl drives transfers.
#pragma once

#include <Hasnet/ICurlFactory.h>
#include <Hasnet/detail/BodyDelivery.h>
#include <Hasnet/detail/ItemLock.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/RequestSetup.h>
#include <Hasnet/detail/ResetDrain.h>
#include <Hasnet/detail/UnitTable.h>
#include <Hasnet/detail/WakeEvent.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace hascommon {
class Curl;
}

namespace hascommon::detail {

/// Owns the multi handle, the item lock and the event that ends waits. Adds what was begun, brings
/// libcurl in line with the units' states, performs, waits for traffic, and reaps and completes one
/// transfer. Handles in the multi handle are used here only, or in what libcurl calls from here.
class Pass {
public:
    /// @param front  is asked for a finished transfer's outcome: ResultIf() may be overridden
    Pass(Curl& front, ICurlFactory& factory, UnitTable& table, RequestQueue& queue,
         BodyDelivery& body, ResetDrain& drain, RequestSetup& setup);

    WakeEvent wake;
    ItemLock lock;
    /// libcurl has opened a socket that select cannot wait for.
    std::atomic<bool> highSockets{false};

    /// Waiting for traffic, at the longest.
    static constexpr int kMaxWaitMs = 300;

    /// One pass; nothing while another stands on some thread's stack.
    /// @param maxWaitMs  waiting for traffic ends after this
    /// @return 1 when a transfer completed, else 0
    int Process(int maxWaitMs = kMaxWaitMs);
    /// Some unit was paused or resumed: the next pass, which is woken, tells libcurl.
    void PauseLater() HAS_REQUIRES(itemLock);
    /// Completes every unit as cancelled and forgets the extra header lines.
    void EndAll() HAS_REQUIRES(itemLock);

    /// Whether the caller stands inside a callback of a pass.
    bool InPass() const { return m_thread == std::this_thread::get_id(); }
    /// Whether a pass stands on some thread's stack.
    bool Runs() const { return m_thread.load() != std::thread::id(); }
    /// Whether libcurl has any transfer, finished ones included until they are reaped.
    bool HasTransfers() const { return m_handles != 0; }

    /// libcurl's progress function; the user pointer is the unit. Stops what was cancelled.
    static int ProgressCB(void* unit, double dltotal, double dlnow, double ultotal, double ulnow);

private:
    class Mark;

    void letAnotherEnd() HAS_REQUIRES(itemLock);
    int run(int maxWaitMs) HAS_REQUIRES(itemLock);
    void ApplyRequests() HAS_REQUIRES(itemLock);
    void AddBegun(UnitObject& unit) HAS_REQUIRES(itemLock);
    void ApplyPause(UnitObject& unit) HAS_REQUIRES(itemLock);
    void RunTransfers(int maxWaitMs) HAS_REQUIRES(itemLock);
    int PerformAll() HAS_REQUIRES(itemLock);
    int WaitForTraffic(int timeoutMs) HAS_REQUIRES(itemLock);
    bool MayGoOn(int running) const HAS_REQUIRES(itemLock);
    int ReapOne() HAS_REQUIRES(itemLock);
    void TakeOff(UnitObject& unit) HAS_REQUIRES(itemLock);
    int Complete(UnitObject& unit) HAS_REQUIRES(itemLock);
    int CompleteHeld() HAS_REQUIRES(itemLock);

    Curl& m_front;
    UnitTable& m_table;
    RequestQueue& m_queue;
    BodyDelivery& m_body;
    ResetDrain& m_drain;
    RequestSetup& m_setup;
    std::unique_ptr<ICurlMulti, std::function<void(ICurlMulti*)>>
        m_multi HAS_PT_GUARDED_BY(itemLock);
    std::atomic<std::thread::id> m_thread{};
    std::atomic<int> m_handles{0};
    bool m_asleep HAS_GUARDED_BY(itemLock) = false; ///< the pass waits, without the lock
    bool m_pausesDue HAS_GUARDED_BY(itemLock) = false;
    int m_unreaped HAS_GUARDED_BY(itemLock) = 0; ///< finished transfers that libcurl still tells of
    std::chrono::steady_clock::time_point m_performed HAS_GUARDED_BY(itemLock);
};

} // namespace hascommon::detail
