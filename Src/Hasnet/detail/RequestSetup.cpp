#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/RequestSetup.h>

#include <Hascommon/Datetime.h>

#include <algorithm>
#include <utility>

namespace hascommon::detail {

using Guard = LockGuard<Mutex>;

namespace {

/// "Name: value"; libcurl also takes "Name:" and "Name;". Nothing that would end the line.
bool isHeaderLine(const std::string& line) {
    const size_t end = line.find_first_of(":;");
    const auto isControl = [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; };
    const auto isNamePart = [](unsigned char c) { return c > ' ' && c < 0x7F; };
    return end != std::string::npos && end > 0 &&
           std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(end), isNamePart) &&
           std::none_of(line.begin(), line.end(), isControl);
}

} // namespace

RequestSetup::RequestSetup(UrlInfoTable& urlInfo, CHttpCookie& cookieJar,
                           const EasyCallbacks& callbacks, std::atomic<bool>& highSockets)
    : m_urlInfo(urlInfo)
    , m_cookieJar(cookieJar)
    , m_callbacks(callbacks)
    , m_highSockets(highSockets) {}

bool RequestSetup::AddHeaderLine(const std::string& line) {
    const Guard guard(m_mutex);
    m_addedLines.push_back(line);
    return joinHeaderLines();
}

bool RequestSetup::SetOwnerLines(const std::vector<std::string>& lines) {
    if (!std::all_of(lines.begin(), lines.end(), isHeaderLine))
        return false;
    const Guard guard(m_mutex);
    m_ownerLines = lines;
    return joinHeaderLines();
}

/// A list that requests share never changes: they get a new one.
bool RequestSetup::joinHeaderLines() {
    HeaderList list;
    for (const auto* const lines : {&m_addedLines, &m_ownerLines}) {
        for (const std::string& line : *lines) {
            list = withLine(list, line);
            if (list == nullptr) {
                forgetHeaderLines();
                return false;
            }
        }
    }
    m_options.headerList = std::move(list);
    return true;
}

void RequestSetup::ForgetHeaderLines() {
    const Guard guard(m_mutex);
    forgetHeaderLines();
}

void RequestSetup::forgetHeaderLines() {
    m_options.headerList.reset();
    m_addedLines.clear();
    m_ownerLines.clear();
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
