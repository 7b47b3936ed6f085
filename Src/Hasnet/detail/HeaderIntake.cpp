#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/HeaderIntake.h>

#include <Hascommon/GURL.h>
#include <Hascommon/StringUtil.h>
#include <Hasnet/detail/Engine.h>
#include <Hasnet/detail/HeaderLine.h>
#include <Hasnet/detail/HttpDate.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace hascommon::detail {

namespace {

/// What is kept of a download's header lines for its owner.
constexpr std::size_t kMostHeaderBytes = 65536;

/// Whether the line can be one that is read here: a status line, Date, Location, Set-Cookie or the
/// end of the headers. Most are not.
bool mayBeRead(std::string_view line) {
    constexpr std::string_view kFirst = "HDdLlSs\r\n";
    return !line.empty() && kFirst.find(line.front()) != std::string_view::npos;
}

} // namespace

HeaderIntake::HeaderIntake(ItemLock& lock, UrlInfoTable& urlInfo, CHttpCookie& cookieJar)
    : m_lock(lock)
    , m_urlInfo(urlInfo)
    , m_cookieJar(cookieJar) {}

std::size_t HeaderIntake::HeaderCB(char* data, std::size_t size, std::size_t nmemb, void* pointer) {
    HAS_LOG("Curl::HeaderCB() starts.");
    auto* unit = static_cast<UnitObject*>(pointer);
    HeaderIntake& self = unit->engine.headers;
    const std::size_t length = size * nmemb;
    self.m_lock.AssertHeld();
    self.OnHeaderDownload(unit, data, static_cast<unsigned int>(length));
    return length;
}

void HeaderIntake::OnHeaderDownload(UnitObject* unit, const char* text, unsigned int length) {
    constexpr std::size_t kShortestDate = 16;
    HAS_LOG("OnHeaderDownload() starts.");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return;
    }
    if (unit->headerLines.size() + length <= kMostHeaderBytes)
        unit->headerLines.append(text, length);
    if (!mayBeRead({text, length}))
        return;
    const std::string line(text, length);
    if (line.size() >= kShortestDate && has_strncasecmp(line.c_str(), "Date", 4) == 0) {
        const std::int64_t date = readHttpDate(fieldValue(line));
        if (date > 0)
            m_urlInfo.LearnDate(unit->infoIndex, static_cast<long>(date));
    }
    if (hasFieldName(line, "location")) {
        unit->hopLocation = absoluteLocation(unit->transfer.AnsweringUrl(), fieldValue(line));
        unit->location = unit->hopLocation;
    }
    if (hasFieldName(line, "set-cookie")) {
        const GURL url(unit->transfer.AnsweringUrl());
        m_cookieJar.addCookieToPool(fieldValue(line), url.host(), url.path(),
                                    url.SchemeIs("https"));
    }
    if (startsHeaders(line))
        unit->inHeaders = true;
    if (endsHeaders(line))
        OnHeadersEnd(unit);
}

void HeaderIntake::OnHeadersEnd(UnitObject* unit) {
    unit->inHeaders = false;
    const std::string next = std::exchange(unit->hopLocation, {});
    const long status = unit->transfer.Status();
    unit->httpStatus = status;
    if (next.empty() || status < 300 || status >= 400)
        return;
    // The next hop gets the cookies that are its own, with those this one has just set.
    unit->transfer.SetCookie(m_cookieJar.getCookieFromPool(next));
}

} // namespace hascommon::detail
