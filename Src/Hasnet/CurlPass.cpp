// How the download engine drives libcurl: only here, in a pass, are its handles used.
#include <Hasnet/Curl.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/Linux/Sleep.h>
#include <Hasnet/detail/CurlState.h>
#include <Hasnet/detail/ItemRelease.h>
#include <Hasnet/detail/Low32.h>
#include <Hasnet/detail/ResultCode.h>
#include <Hasnet/detail/TransferLimits.h>
#include <Hasnet/detail/TransferReport.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace hascommon {

using detail::CurlState;
using detail::UnitState;
using ItemGuard = LockGuard<detail::ItemLock>;
using OptionsGuard = LockGuard<Mutex>;

namespace {

/// Waiting for traffic, at the longest.
constexpr int kSelectMs = 300;
/// A pass that has traffic goes on as long as this before it reaps and lets the loop take a turn.
constexpr std::chrono::milliseconds kBurst{20};
constexpr unsigned int kEndWaitMs = 3;
constexpr unsigned int kPlainLoopSleepUs = 1000;
/// A loop without a period does not spin while there is nothing to do.
constexpr unsigned int kIdleSleepUs = 1000;

/// Marks that a pass stands on this thread's stack.
class PassMark {
public:
    explicit PassMark(CurlState& state)
        : m_state(state) {
        m_state.passThread = std::this_thread::get_id();
    }
    ~PassMark() { m_state.passThread = std::thread::id(); }
    PassMark(const PassMark&) = delete;
    PassMark& operator=(const PassMark&) = delete;

private:
    CurlState& m_state;
};

} // namespace

bool Curl::Loop(void* engine) {
    auto& self = *static_cast<Curl*>(engine);
    CurlState& s = *self.m_state;
    unsigned int pause = kPlainLoopSleepUs;
    if (s.threadOption == CURL_THREAD_PACED) {
        // From start to end on purpose: the difference wraps once a pass took a millisecond, and
        // that turn does not sleep.
        const unsigned int start = detail::low32(has_getTime());
        self.RunOnce();
        const unsigned int spent = (start - detail::low32(has_getTime())) * 1000U;
        const auto period = static_cast<unsigned int>(std::max(s.sleepTime, 0));
        pause = spent < period ? period - spent : 0;
        if (period == 0 && s.handles == 0)
            pause = kIdleSleepUs;
    } else {
        self.RunOnce();
    }
    // The pass may have swallowed the signal that came with the end.
    if (pause > 0 && !s.quit)
        s.wake.SleepUs(pause);
    return !s.EndsLoop();
}

void Curl::Stop() {
    CurlState& s = *m_state;
    if (s.InPass()) {
        s.Close();
        s.wake.Signal();
        return; // The pass ends the units when it is done.
    }
    {
        // A caller may hold the lock that the thread needs to come to its end.
        const detail::ItemRelease release(s.itemLock);
        const LockGuard<Mutex> guard(s.threadMutex);
        // Not before: a StartLoop() on another thread would open the engine again, and the thread
        // would never end.
        s.Close();
        s.wake.Signal();
        s.thread.Join(nullptr);
        s.looping = false;
    }
    const ItemGuard lock(s.itemLock);
    while (s.PassRuns())
        WaitStep(kEndWaitMs); // Another thread of the owner's is in RunOnce().
    EndAll();
}

void Curl::EndAll() {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    s.TakeBegun();
    for (const auto& slot : s.units) {
        UnitObject* unit = slot.get();
        unit->itemLock.AssertHeld();
        // One that is still being begun is refused when it is handed over, or, where the engine has
        // been started again by then, runs.
        if (!unit->queued || unit->IsCompleted())
            continue;
        TakeOff(unit);
        unit->pauseBuffer.clear();
        unit->report = detail::reportWithoutTransfer(CURLE_ABORTED_BY_CALLBACK);
        unit->code = detail::kCodeCancelled;
        unit->aborted = false;
        if (unit->state.Change(UnitState::Completed))
            s.completed.push_back(unit);
    }
    const OptionsGuard guard(s.optionsMutex);
    s.options.headerList.reset();
}

void Curl::TakeOff(UnitObject* unit) {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    unit->itemLock.AssertHeld();
    if (!std::exchange(unit->inMulti, false))
        return;
    s.multi->RemoveHandle(*unit->easy);
    --s.handles;
}

int Curl::RunOnce() {
    return Process();
}

int Curl::Process() {
    CurlState& s = *m_state;
    const ItemGuard lock(s.itemLock);
    if (s.PassRuns())
        return 0; // One stands on another thread's stack, or below this callback.
    int result = 0;
    if (!s.quit) {
        const PassMark mark(s);
        s.wake.Drain();
        // One that waited for its resume: there is no traffic to wait for.
        result = CompleteHeld();
        if (result == 0 && !s.quit)
            RunTransfers();
        if (result == 0 && !s.quit) // Else what it has cut off is not reaped as a failure.
            result = CompleteHeld() != 0 ? 1 : ReapOne();
    }
    if (s.quit)
        EndAll();
    if (s.resetByPass && DrainReset()) {
        s.resetByPass = false;
        FinishReset();
    }
    return result;
}

void Curl::RunTransfers() {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    int running = PerformAll();
    // Looked at behind Drain(), which may have swallowed the signal of an owner that waits.
    if (running <= 0 || WaitForTraffic(MayGoOn(running) ? kSelectMs : 0) < 0)
        return;
    const auto until = std::chrono::steady_clock::now() + kBurst;
    do {
        running = PerformAll();
    } while (MayGoOn(running) && std::chrono::steady_clock::now() < until && WaitForTraffic(0) > 0);
}

int Curl::PerformAll() {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    ApplyRequests();
    int running = 0;
    while (s.multi->Perform(running)) {
    }
    return running;
}

bool Curl::MayGoOn(int running) const {
    const CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    // A finished transfer, a waiting owner or the end of the engine ends the pass.
    return running > 0 && running == s.handles && !s.itemLock.HasWaiters() && !s.quit;
}

int Curl::WaitForTraffic(int timeoutMs) {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    fd_set read;
    fd_set write;
    fd_set except;
    FD_ZERO(&read);
    FD_ZERO(&write);
    FD_ZERO(&except);
    int maxFd = -1;
    s.multi->FDSet(&read, &write, &except, &maxFd);
    const int wakeFd = s.wake.Descriptor();
    if (maxFd < 0 || s.highSockets || wakeFd < 0 || wakeFd >= FD_SETSIZE)
        return s.multi->Poll(wakeFd, timeoutMs);
    long timer = -1; // libcurl's own next deadline, which select does not know.
    if (timeoutMs > 0)
        curl_multi_timeout(s.multi->GetHandle(), &timer);
    if (timer >= 0 && timer < timeoutMs)
        timeoutMs = static_cast<int>(timer);
    FD_SET(wakeFd, &read);
    timeval timeout{0, static_cast<suseconds_t>(timeoutMs) * 1000};
    return s.multi->Select(std::max(maxFd, wakeFd) + 1, &read, &write, &except, &timeout);
}

void Curl::ApplyRequests() {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    for (UnitObject* unit : s.TakeBegun()) {
        AddBegun(unit);
        s.pausesDue = true; // It may have been paused before.
    }
    if (!std::exchange(s.pausesDue, false))
        return;
    for (const auto& unit : s.units)
        ApplyPause(unit.get());
}

void Curl::ApplyPause(UnitObject* unit) {
    unit->itemLock.AssertHeld();
    if (!unit->queued || !unit->inMulti)
        return;
    if (std::exchange(unit->limitsDue, false)) {
        if (unit->IsPaused())
            detail::setPausedLimits(*unit->easy);
        else
            detail::setResumedLimits(*unit->easy, unit->pausedTotal);
    }
    // First of all, as nothing else may come that would bring it out. The owner may pause or cancel
    // the unit from inside.
    LoadHeld(unit);
    const bool pause = unit->IsPaused();
    if (pause == unit->curlPaused)
        return;
    if (pause) {
        // Fails until there is a connection; the next pass tries again.
        unit->curlPaused = unit->easy->Pause();
        m_state->itemLock.AssertHeld();
        m_state->pausesDue = m_state->pausesDue || !unit->curlPaused;
        return;
    }
    unit->curlPaused = false;
    if (!unit->easy->Resume() && unit->state.Change(UnitState::Paused))
        unit->curlPaused = true;
}

int Curl::CompleteHeld() {
    CurlState& s = *m_state;
    int completed = 0;
    for (const auto& slot : s.units) {
        UnitObject* unit = slot.get();
        unit->itemLock.AssertHeld();
        // A slot that is being set up for its next request is not the pass's to look at.
        const bool mine = unit->queued && !unit->IsCompleted();
        if (completed == 0 && mine && unit->finished)
            completed = Complete(unit);
    }
    return completed;
}

int Curl::Complete(UnitObject* unit) {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    unit->itemLock.AssertHeld();
    if (unit->resetMark) {
        if (unit->code == detail::kCodeOk)
            unit->code = detail::kCodeCancelled;
        unit->state.Change(UnitState::Completed);
        EndDownload_unlock(unit);
        return 0;
    }
    DeliverHeld(unit);
    if (!unit->pauseBuffer.empty() && unit->IsPaused())
        return 0; // It completes once the owner has resumed it and taken the bytes.
    if (unit->IsAborted())
        unit->code = detail::kCodeCancelled;
    unit->pauseBuffer.clear();
    unit->aborted = false;
    if (!unit->state.Change(UnitState::Completed))
        return 0;
    s.completed.push_back(unit);
    return 1;
}

void Curl::LetOwnersIn() HAS_NO_THREAD_SAFETY_ANALYSIS {
    detail::ItemLock& lock = m_state->itemLock;
    // Free at every depth for a moment: whoever waits comes first.
    if (lock.HasWaiters())
        lock.Reacquire(lock.ReleaseAll());
}

int Curl::Collect(UnitObject* unit) {
    CurlState& s = *m_state;
    const ItemGuard lock(s.itemLock);
    if (!unit->InUse() || unit->endRequested)
        return 0;
    const bool mayWait =
        !s.InPass() && (unit->queued || unit->beginner != std::this_thread::get_id());
    // Before anything is marked: whoever comes while the mark stands takes the unit for collected.
    if (!mayWait && !unit->IsCompleted())
        return -1;
    unit->endRequested = true;
    const unsigned int generation = unit->generation;
    while (unit->InUse() && unit->generation == generation && !unit->IsCompleted())
        WaitStep(kEndWaitMs);
    const int code = unit->code;
    // A reset may have freed the slot meanwhile, and a new request taken it.
    if (unit->generation == generation && unit->IsCompleted()) {
        s.Forget(unit);
        unit->queued = false;
        unit->state.Change(UnitState::Ended);
    }
    return code;
}

void Curl::WaitStep(unsigned int ms) {
    CurlState& s = *m_state;
    // A caller that holds the lock lets others have it meanwhile.
    const detail::ItemRelease release(s.itemLock);
    if (!s.looping && !s.PassRuns() && !s.quit)
        RunOnce();
    else
        has_sleep_ms(ms);
}

bool Curl::DrainReset() {
    CurlState& s = *m_state;
    const ItemGuard lock(s.itemLock);
    bool drained = true;
    for (const auto& slot : s.units) {
        UnitObject* unit = slot.get();
        if (!unit->resetMark)
            continue; // Begun after the reset.
        if (unit->IsCompleted())
            EndDownload_unlock(unit);
        // A request that is still being begun finds its key stale and frees its slot itself.
        drained = drained && (!unit->InUse() || !unit->queued);
    }
    return drained;
}

void Curl::GiveBack(UnitObject* unit) {
    const ItemGuard lock(m_state->itemLock);
    m_state->Forget(unit);
    if (!unit->state.Change(UnitState::Free))
        unit->state.Change(UnitState::Ended);
}

void Curl::StartLoop() {
    CurlState& s = *m_state;
    // Where a Quit() has the mutex, its thread may be waiting for the lock. A pass keeps it: what
    // calls from inside one counts on that.
    std::optional<detail::ItemRelease> release;
    if (!s.InPass())
        release.emplace(s.itemLock);
    const LockGuard<Mutex> guard(s.threadMutex);
    if (!s.Open())
        return;
    s.thread.Join(nullptr); // One that a callback's Quit() has ended.
    if (!s.thread.Create(Loop, this))
        s.looping = false;
}

} // namespace hascommon
