#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/Pass.h>

#include <Hasnet/Curl.h>
#include <Hasnet/detail/Engine.h>
#include <Hasnet/detail/ItemRelease.h>
#include <Hasnet/detail/Outcome.h>
#include <Hasnet/detail/ResultCode.h>
#include <Hasnet/detail/TrafficWait.h>
#include <Hasnet/detail/TransferLimits.h>
#include <Hasnet/detail/TransferReport.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace hascommon::detail {
namespace {

/// A pass that has traffic goes on as long as this before it reaps and lets the loop take a turn.
constexpr std::chrono::milliseconds kBurst{20};
/// While more transfers than one have finished, passes reap without performing before each, but for
/// no longer than this: a loop that sleeps between its passes performs in every one.
constexpr std::chrono::milliseconds kFresh{1};

} // namespace

/// Marks that a pass stands on this thread's stack.
class Pass::Mark {
public:
    explicit Mark(Pass& pass)
        : m_pass(pass) {
        m_pass.m_thread = std::this_thread::get_id();
    }
    ~Mark() { m_pass.m_thread = std::thread::id(); }
    Mark(const Mark&) = delete;
    Mark& operator=(const Mark&) = delete;

private:
    Pass& m_pass;
};

Pass::Pass(Curl& front, ICurlFactory& factory, UnitTable& table, RequestQueue& queue,
           BodyDelivery& body, ResetDrain& drain, RequestSetup& setup)
    : lock([this] { wake.Signal(); })
    , m_front(front)
    , m_table(table)
    , m_queue(queue)
    , m_body(body)
    , m_drain(drain)
    , m_setup(setup)
    , m_multi(factory.CreateCurlMulti(),
              [&factory](ICurlMulti* multi) { factory.ReleaseCurlMulti(multi); }) {}

int Pass::Process(int maxWaitMs) {
    const ItemGuard guard(lock);
    letAnotherEnd();
    if (Runs())
        return 0; // One stands on another thread's stack, or below this callback.
    const int result = m_queue.Quit() ? 0 : run(maxWaitMs);
    if (m_queue.Quit())
        EndAll();
    m_drain.AfterPass();
    return result;
}

/// Two threads that both run passes take turns, also where one would wait for traffic.
void Pass::letAnotherEnd() {
    while (m_asleep && !InPass()) {
        wake.Signal();
        const ItemRelease release(lock);
        std::this_thread::yield();
    }
}

int Pass::run(int maxWaitMs) {
    const Mark mark(*this);
    // One that waited for its resume: there is no traffic to wait for.
    const int result = CompleteHeld();
    if (result != 0 || m_queue.Quit())
        return result;
    RunTransfers(maxWaitMs);
    if (m_queue.Quit())
        return 0; // What it has cut off is not reaped as a failure.
    return CompleteHeld() != 0 ? 1 : ReapOne();
}

void Pass::PauseLater() {
    m_pausesDue = true;
    wake.Signal();
}

// ---- Adding ------------------------------------------------------------------------------------

void Pass::ApplyRequests() {
    for (UnitObject* unit : m_queue.TakeBegun()) {
        AddBegun(*unit);
        m_pausesDue = true; // It may have been paused before.
    }
    if (!std::exchange(m_pausesDue, false))
        return;
    for (UnitObject& unit : m_table)
        ApplyPause(unit);
}

void Pass::AddBegun(UnitObject& unit) {
    CURLcode result = CURLE_ABORTED_BY_CALLBACK;
    if (!unit.IsAborted()) {
        if (unit.transfer.Join(*m_multi)) {
            ++m_handles;
            return;
        }
        HAS_LOG("curl_multi_add_handle call failed. (code = %d)", m_multi->GetLastError());
        result = CURLE_FAILED_INIT;
    }
    unit.report = reportWithoutTransfer(result);
    m_front.ResultIf(&unit, result, 0, -1);
    unit.finished = true;
}

void Pass::ApplyPause(UnitObject& unit) {
    Transfer& transfer = unit.transfer;
    if (!unit.queued || !transfer.InMulti())
        return;
    if (std::exchange(unit.limitsDue, false)) {
        if (unit.IsPaused())
            setPausedLimits(transfer.Easy());
        else
            setResumedLimits(transfer.Easy(), unit.pausedTotal);
    }
    // First of all, as nothing else may come that would bring it out. The owner may pause or cancel
    // the unit from inside.
    m_body.LoadHeld(&unit);
    const bool pause = unit.IsPaused();
    if (pause == transfer.IsPaused())
        return;
    if (pause) // Fails until there is a connection; the next pass tries again.
        m_pausesDue = !transfer.Pause() || m_pausesDue;
    else if (!transfer.Resume() && unit.state.Change(UnitState::Paused))
        transfer.StayPaused();
}

// ---- Performing and waiting --------------------------------------------------------------------

void Pass::RunTransfers(int maxWaitMs) {
    if (m_unreaped > 0 && std::chrono::steady_clock::now() < m_performed + kFresh)
        return;
    int running = PerformAll();
    // Looked at behind Drain(), which may have swallowed the signal of an owner that waits.
    if (!MayGoOn(running) || WaitForTraffic(maxWaitMs) < 0)
        return;
    const auto until = std::chrono::steady_clock::now() + kBurst;
    do {
        running = PerformAll();
    } while (MayGoOn(running) && std::chrono::steady_clock::now() < until && WaitForTraffic(0) > 0);
}

int Pass::PerformAll() {
    wake.Drain();
    ApplyRequests();
    int running = 0;
    while (m_multi->Perform(running)) {
    }
    m_performed = std::chrono::steady_clock::now();
    return running;
}

bool Pass::MayGoOn(int running) const {
    // A finished transfer, a waiting owner or the end of the engine ends the pass.
    return running > 0 && running == m_handles && !lock.HasWaiters() && !m_queue.Quit();
}

int Pass::WaitForTraffic(int timeoutMs) {
    const WakeEvent::Wait wait(wake);
    // Where the lock is this pass's alone, owners need not wait until the pass is woken. They do
    // not touch the multi handle, and another pass does not begin.
    if (timeoutMs == 0 || lock.Depth() != 1)
        return waitForTraffic(*m_multi, wait.Descriptor(), highSockets, timeoutMs);
    m_asleep = true;
    int result = 0;
    {
        const ItemRelease release(lock);
        result = waitForTraffic(*m_multi, wait.Descriptor(), highSockets, timeoutMs);
    }
    m_asleep = false;
    return result;
}

int Pass::ProgressCB(void* pointer, double, double, double, double) {
    const auto* unit = static_cast<UnitObject*>(pointer);
    ItemLock& lock = unit->engine.pass.lock;
    lock.AssertHeld();
    lock.LetWaitersIn(); // libcurl calls this for every transfer that it looks at.
    const bool stop = unit->engine.queue.Quit() || !unit->InUse() || unit->IsAborted();
    return stop ? -1 : 0;
}

// ---- Reaping and completing --------------------------------------------------------------------

int Pass::ReapOne() {
    CurlMsg msg{};
    m_unreaped = 0;
    if (m_multi->InfoRead(m_unreaped, msg) == 0)
        return 0;
    auto* unit = static_cast<UnitObject*>(msg.privateData);
    if (msg.result == CURLE_ABORTED_BY_CALLBACK)
        HAS_LOG("111");
    if (unit == nullptr)
        return 0;
    Transfer& transfer = unit->transfer;
    const CURLcode result = correctedResult(static_cast<CURLcode>(msg.result),
                                            unit->resetMark || unit->IsAborted(), unit->inHeaders);
    if (result != CURLE_OK)
        HAS_LOG("errorbuf : %s", transfer.errorBuffer.data());
    const long status = transfer.Status();
    HAS_LOG("CURLMSG_DONE unit : %p result : %d  http_status : %d", static_cast<void*>(unit),
            static_cast<int>(result), static_cast<int>(status));
    TakeOff(*unit);
    unit->httpStatus = status;
    unit->report =
        reportOf(transfer.Easy(), result, transfer.errorBuffer.data(), transfer.sockets.peer);
    m_front.ResultIf(unit, result, status, -1);
    unit->finished = true;
    return Complete(*unit);
}

void Pass::TakeOff(UnitObject& unit) {
    if (unit.transfer.Leave(*m_multi))
        --m_handles;
}

int Pass::Complete(UnitObject& unit) {
    if (unit.resetMark) {
        if (unit.code == RESULT_OK)
            unit.code = RESULT_CANCELLED;
        unit.state.Change(UnitState::Completed);
        m_drain.Free(unit);
        return 0;
    }
    m_body.DeliverHeld(&unit);
    if (!unit.pauseBuffer.empty() && unit.IsPaused())
        return 0; // It completes once the owner has resumed it and taken the bytes.
    if (unit.IsAborted())
        unit.code = RESULT_CANCELLED;
    unit.pauseBuffer.clear();
    unit.aborted = false;
    return m_table.Complete(unit) ? 1 : 0;
}

int Pass::CompleteHeld() {
    int completed = 0;
    for (UnitObject& unit : m_table) {
        // A slot that is being set up for its next request is not the pass's to look at.
        const bool mine = unit.queued && !unit.IsCompleted();
        if (completed == 0 && mine && unit.finished)
            completed = Complete(unit);
    }
    return completed;
}

void Pass::EndAll() {
    m_queue.TakeBegun();
    for (UnitObject& unit : m_table) {
        // One that is still being begun is refused when it is handed over, or, where the engine has
        // been started again by then, runs.
        if (!unit.queued || unit.IsCompleted())
            continue;
        TakeOff(unit);
        unit.pauseBuffer.clear();
        unit.report = reportWithoutTransfer(CURLE_ABORTED_BY_CALLBACK);
        unit.code = RESULT_CANCELLED;
        unit.aborted = false;
        m_table.Complete(unit);
    }
    m_setup.ForgetHeaderLines();
}

} // namespace hascommon::detail
