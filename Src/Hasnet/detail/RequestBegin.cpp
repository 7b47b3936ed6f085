#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/RequestBegin.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/GURL.h>
#include <Hasnet/detail/ResultCode.h>

namespace hascommon::detail {

RequestBegin::RequestBegin(ItemLock& lock, ICurlFactory& factory, const OwnerCallbacks& owner,
                           UnitTable& table, RequestSetup& setup, RequestQueue& queue)
    : m_lock(lock)
    , m_factory(factory)
    , m_owner(owner)
    , m_table(table)
    , m_setup(setup)
    , m_queue(queue) {}

int RequestBegin::BeginDownloadImpl(unsigned int key, const std::string& url,
                                    const std::string& range, bool keepInfo, UnitObject*& unit,
                                    bool flag, void* userData) {
    if (range.empty())
        HAS_LOG_HIGHLIGHTED(" Curl::BeginDownloadImpl() with URL = %s\n ", url.c_str());
    else
        HAS_LOG_HIGHLIGHTED(" Curl::BeginDownloadImpl() with URL = %s, range=%s\n ", url.c_str(),
                            range.c_str());
    UnitObject* taken = take(url);
    if (taken == nullptr) {
        HAS_LOG(" ERROR!! max concurrent download over");
        return -1;
    }
    const long long now = has_getTime();
    const int index = m_table.urlInfo.Choose(taken->slot, url, keepInfo);
    m_table.urlInfo.Fill(index, url, range, keepInfo, now);
    taken->Prepare(url, index, keepInfo, flag, userData, now);
    taken->state.Change(UnitState::Running);

    if (ICurlCB* cb = m_owner.cb)
        cb->OnDownloadBegin(taken);
    if (!ReqBody(taken, key)) {
        const ItemGuard lock(m_lock);
        m_table.GiveBack(*taken);
        return -1;
    }
    unit = taken;
    return RESULT_OK;
}

UnitObject* RequestBegin::take(const std::string& url) {
    UnitObject* taken = m_table.TakeSlot(GURL(url).host());
    if (taken == nullptr)
        return nullptr;
    try {
        taken->transfer.Renew(m_factory);
    } catch (...) {
        taken->state.Change(UnitState::Free);
        throw;
    }
    return taken;
}

bool RequestBegin::ReqBody(UnitObject* unit, unsigned int key) {
    HAS_LOG("Curl::ReqBody() starts.");
    HAS_LOG("!!!!!acceptrange!!!!!\n");
    m_setup.SetBodyEasyDownloadOPT(unit);
    const bool accepted = m_queue.Enqueue(*unit, key);
    HAS_LOG("<< Curl::ReqBody");
    return accepted;
}

} // namespace hascommon::detail
