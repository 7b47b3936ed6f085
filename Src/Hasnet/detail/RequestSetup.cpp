#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/RequestSetup.h>

#include <Hascommon/Datetime.h>

namespace hascommon::detail {

using Guard = LockGuard<Mutex>;

RequestSetup::RequestSetup(UrlInfoTable& urlInfo, CHttpCookie& cookieJar,
                           const EasyCallbacks& callbacks, std::atomic<bool>& highSockets)
    : m_urlInfo(urlInfo)
    , m_cookieJar(cookieJar)
    , m_callbacks(callbacks)
    , m_highSockets(highSockets) {}

bool RequestSetup::AddHeaderLine(const std::string& line) {
    const Guard guard(m_mutex);
    m_options.headerList = withLine(m_options.headerList, line);
    return m_options.headerList != nullptr;
}

void RequestSetup::ForgetHeaderLines() {
    const Guard guard(m_mutex);
    m_options.headerList.reset();
}

RequestOptions RequestSetup::options() const {
    const Guard guard(m_mutex);
    return m_options;
}

void RequestSetup::SetBodyEasyDownloadOPT(UnitObject* unit) {
    const long long now = has_getTime();
    unit->beginTime = now;
    unit->lastRxTime = now;
    HAS_LOG("ReqBody updatetime %p, %d", static_cast<void*>(unit), static_cast<int>(now / 1000));

    const RequestOptions inForce = options();
    if (!inForce.proxy.empty())
        HAS_LOG("\n SET PROXY ");
    Transfer& transfer = unit->transfer;
    transfer.headers = inForce.headerList;
    transfer.sockets = {&m_highSockets, {}};

    EasyRequest request;
    request.options = &inForce;
    request.info = *m_urlInfo.Get(unit->infoIndex);
    request.info.url = unit->url;
    request.cookie = m_cookieJar.getCookieFromPool(unit->url);
    request.engineInfo = engineInfo;
    request.errorBuffer = transfer.errorBuffer.data();
    request.unit = unit;
    request.sockets = &transfer.sockets;
    setOptions(transfer.Easy(), request, m_callbacks);
}

} // namespace hascommon::detail
