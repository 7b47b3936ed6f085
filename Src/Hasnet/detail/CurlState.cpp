#include <Hasnet/detail/CurlState.h>

#include <algorithm>
#include <utility>

namespace hascommon::detail {

CurlState::CurlState(Curl& engine, curl_thread_option option, int loopSleepTime, std::string path)
    : threadOption(option)
    , sleepTime(loopSleepTime)
    , cookiePath(std::move(path))
    , itemLock([this] { wake.Signal(); })
    , multi(factory.CreateCurlMulti(),
            [this](ICurlMulti* handle) { factory.ReleaseCurlMulti(handle); }) {
    for (int slot = 0; slot < kUnits; ++slot)
        units.push_back(std::make_unique<UnitObject>(slot, engine, itemLock));
}

RequestOptions CurlState::Options() const {
    const LockGuard<Mutex> guard(optionsMutex);
    return options;
}

UnitObject* CurlState::TakeSlot(const std::string& host) {
    const LockGuard<Mutex> guard(beginMutex);
    const int hostIndex = hosts.IndexOf(host);
    for (const auto& unit : units) {
        const bool fits = unit->hostIndex == -1 || unit->hostIndex == hostIndex;
        if (!unit->InUse() && fits && unit->state.Change(UnitState::Preparing)) {
            unit->hostIndex = hostIndex;
            return unit.get();
        }
    }
    return nullptr;
}

bool CurlState::Enqueue(UnitObject* unit, unsigned int key) {
    {
        const LockGuard<Mutex> guard(queueMutex);
        if (closed || key < requestKey)
            return false;
        begun.push_back(unit);
        anyBegun = true;
        unit->queued = true;
    }
    wake.Signal();
    return true;
}

void CurlState::NextKey() {
    const LockGuard<Mutex> guard(queueMutex);
    ++requestKey;
}

std::vector<UnitObject*> CurlState::TakeBegun() {
    if (!anyBegun)
        return {};
    const LockGuard<Mutex> guard(queueMutex);
    anyBegun = false;
    return std::exchange(begun, {});
}

void CurlState::Close() {
    const LockGuard<Mutex> guard(queueMutex);
    closed = true; // First: what ends the units finds nobody handing over another.
    quit = true;
}

bool CurlState::Open() {
    const LockGuard<Mutex> guard(queueMutex);
    quit = false;
    closed = false;
    return !looping.exchange(true);
}

bool CurlState::EndsLoop() {
    // Under the lock, so that a thread which is asked to go on either does or is replaced.
    const LockGuard<Mutex> guard(queueMutex);
    if (quit)
        looping = false;
    return quit;
}

bool CurlState::AllFree() const {
    return std::none_of(units.begin(), units.end(), [](const auto& unit) { return unit->InUse(); });
}

void CurlState::Forget(const UnitObject* unit) {
    completed.erase(std::remove(completed.begin(), completed.end(), unit), completed.end());
}

} // namespace hascommon::detail
