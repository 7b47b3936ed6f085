#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/BodyDelivery.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/Linux/Sleep.h>
#include <Hasnet/detail/ByteCount.h>
#include <Hasnet/detail/Engine.h>
#include <Hasnet/detail/ItemRelease.h>
#include <Hasnet/detail/ResultCode.h>

#include <utility>

namespace hascommon::detail {
namespace {

/// Chunks that arrive this soon after a resume restart the bandwidth base.
constexpr long long kResumeSettlesMs = 100;
constexpr unsigned int kRefusedWaitMs = 3;

} // namespace

BodyDelivery::BodyDelivery(ItemLock& lock, const OwnerCallbacks& owner, UrlInfoTable& urlInfo,
                           const RequestQueue& queue)
    : m_lock(lock)
    , m_owner(owner)
    , m_urlInfo(urlInfo)
    , m_queue(queue) {}

std::size_t BodyDelivery::EasyDownloadCB(char* data, std::size_t size, std::size_t nmemb,
                                         void* pointer) {
    auto* unit = static_cast<UnitObject*>(pointer);
    BodyDelivery& self = unit->engine.body;
    const std::size_t length = size * nmemb;
    self.m_lock.AssertHeld();
    // libcurl may stay in one pass for as many pieces as the network has ready.
    self.m_lock.LetWaitersIn();
    if (!self.m_queue.Quit() && unit->InUse())
        self.OnBodyDownload(unit, reinterpret_cast<unsigned char*>(data),
                            static_cast<unsigned int>(length), -1, -1);
    return length;
}

int BodyDelivery::OnBodyDownload(UnitObject* unit, unsigned char* data, unsigned int size,
                                 int easyIndex, int part) {
    HAS_LOG("OnBodyDownload() starts.");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    ProcessGetInfo(unit, easyIndex);
    if (unit->IsPaused()) {
        unit->received += size;
        KeepForLater(unit, data, size);
        HAS_LOG("Curl::OnBodyDownload - Pause, %d", static_cast<int>(size));
        return static_cast<int>(size);
    }
    CountArrival(unit, size);
    if (unit->IsAborted())
        return -1;
    LoadHeld(unit);
    if (unit->IsAborted())
        return -1;
    const unsigned int fresh = deliverableBytes(size, unit->received, unit->skipBytes);
    if (fresh > 0)
        CallTransfer(unit, unit->code, data + (size - fresh), fresh, part);
    return static_cast<int>(size);
}

void BodyDelivery::ProcessGetInfo(UnitObject* unit, int easyIndex) {
    constexpr int kParts = 2;
    if (easyIndex >= kParts) {
        HAS_LOG("[Warning] Error easycurlid 2");
        return;
    }
    const unsigned long long length = unit->contentLength == 0 ? unit->transfer.ContentLength() : 0;
    if (length > 0) {
        unit->contentLength = length;
        HAS_LOG("Unit %p, Content Length = %ld", static_cast<void*>(unit),
                static_cast<long>(length));
    }
    if (!unit->keepInfo || !m_urlInfo.WantsFileTime(unit->infoIndex))
        return;
    const long fileTime = unit->transfer.FileTime();
    if (fileTime > 0) {
        m_urlInfo.LearnFileTime(unit->infoIndex, fileTime);
        HAS_LOG("Unit %p, File Time = %ld", static_cast<void*>(unit), fileTime);
    }
}

void BodyDelivery::KeepForLater(UnitObject* unit, const unsigned char* data, unsigned int size) {
    // From inside its own callback a handle may be paused at once, and libcurl then brings no more.
    if (!unit->transfer.IsPaused() && !unit->transfer.Pause())
        HAS_LOG(" ERROR!! curl_easy_pause failed, %d", unit->transfer.Easy().GetLastError());
    if (!unit->pauseBuffer.empty())
        HAS_LOG(" Error! pause buffer overwrite (%d)", static_cast<int>(unit->pauseBuffer.size()));
    // Behind what is there, not over it: the owner gets every byte.
    unit->pauseBuffer.insert(unit->pauseBuffer.end(), data, data + size);
    HAS_LOG("Pause Buffer Saved size(%d)", static_cast<int>(size));
}

void BodyDelivery::CountArrival(UnitObject* unit, unsigned int size) {
    const long long now = has_getTime();
    if (unit->latency == 0)
        unit->latency = now - unit->beginTime;
    const long long previous = unit->lastRxTime.exchange(now);
    unit->received += size;
    IDownloadEvent* ev = m_owner.ev;
    if (ev == nullptr)
        return;
    if (now - unit->resumeTime <= kResumeSettlesMs)
        ev->ResetRxBaseTime(now);
    else
        ev->AddRxTimeInfo(low32(previous), low32(now), size);
}

void BodyDelivery::LoadHeld(UnitObject* unit) {
    if (unit->pauseBuffer.empty() || unit->IsPaused())
        return;
    HAS_LOG("Curl::OnBodyDownload - Pause Buffer Load %d",
            static_cast<int>(unit->pauseBuffer.size()));
    DeliverHeld(unit);
}

void BodyDelivery::DeliverHeld(UnitObject* unit) {
    if (unit->pauseBuffer.empty() || unit->IsPaused())
        return;
    std::vector<unsigned char> held = std::exchange(unit->pauseBuffer, {});
    CallTransfer(unit, unit->code, held.data(), static_cast<unsigned int>(held.size()), -1);
}

void BodyDelivery::CallTransfer(UnitObject* unit, int code, unsigned char* data, unsigned int size,
                                int) {
    ICurlCB* cb = m_owner.cb;
    if (cb == nullptr)
        return;
    const ItemGuard lock(m_lock);
    for (;;) {
        if (m_queue.Quit() || unit->IsAborted() || unit->code != RESULT_OK)
            return;
        if (unit->IsPaused())
            break;
        if (cb->OnDataReceived(unit, code, data, size) == 0)
            return;
        const ItemRelease release(m_lock); // So that the owner's thread gets through.
        has_sleep_ms(kRefusedWaitMs);
    }
    if (!unit->pauseBuffer.empty())
        HAS_LOG(" Error!! curl pause buffer overwrite");
    if (!unit->transfer.IsPaused() && unit->transfer.InMulti())
        unit->transfer.Pause();
    unit->pauseBuffer.insert(unit->pauseBuffer.end(), data, data + size);
}

} // namespace hascommon::detail
