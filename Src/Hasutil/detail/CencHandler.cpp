// Each line carries the name of the handler's own file.
#define HAS_LOG_FILE m_traits.file
#include <Hasutil/detail/CencHandler.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/CCENCMediaContent.h>

#include <new>
#include <optional>
#include <string_view>

// Coloured like other highlighted lines, which have a blank on either side of the text inside the
// colour. These lines have no such blank in front, and only a refusal has one, behind the colour.
#define HAS_LOG_COLOURED(function, after, ...)                                                     \
    HAS_LOG_ARGS(kLogHighlighted, "\033[1;31;42m", after, function, __VA_ARGS__)

namespace {

/// The last error after a DRM description that cannot be used.
constexpr int kUnusableDescription = -51;

constexpr std::string_view kKindKey = "TYPE=";
constexpr std::string_view kMarlinBroadband = "MARLIN-BB"; // in MPEG-TS: no boxes to rewrite
constexpr std::string_view kMarlinMs3 = "MARLIN-MS3";

/// What stands behind the key, up to the next separator; nothing without the key.
std::optional<std::string_view> kindIn(std::string_view text) {
    const size_t key = text.find(kKindKey);
    if (key == std::string_view::npos)
        return std::nullopt;
    const std::string_view rest = text.substr(key + kKindKey.size());
    return rest.substr(0, rest.find('|'));
}

/// Remembers a kind; without one the kind before stays. @return whether it can be used
bool takeKind(std::string_view read, std::string& kind) {
    if (read.empty())
        return true;
    try {
        kind = read;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return read == kMarlinBroadband || read == kMarlinMs3;
}

/// Runs an operation of a content object. @return its result; -1 when there is no memory for it
template<typename Operation>
int withoutThrowing(const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

} // namespace

namespace hascommon::detail {

/// Whether segment operations are refused, which is logged.
bool CencHandler::refuses(const char* operation) const {
    if (m_lastError == 0)
        return false;
    HAS_LOG_COLOURED(operation, "\033[0m ", "[* ERROR] DRM hander Last Error Code ( %d ) ",
                     m_lastError);
    return true;
}

void CencHandler::keepError() {
    if (m_traits.keepsErrors)
        m_lastError = m_content.getLastErrorCode();
}

int CencHandler::SetDRMProperty(Has_DRMPropertyType type, const std::string& value) const {
    if (m_traits.logsProperties)
        HAS_LOG(" SetDRMProperty( %s, %d) ", value.c_str(), static_cast<int>(type));
    return 1;
}

int CencHandler::UpdateSchemeInformation() const {
    m_content.resetBuffer();
    return 1;
}

int CencHandler::OnContentStart() {
    m_lastError = 0;
    m_content.init(m_traits.type, m_isSeparated);
    return 1;
}

int CencHandler::OnContentStart(const std::string* drmInfo, std::string& kind) {
    if (drmInfo == nullptr)
        return 1;
    m_lastError = readKind(*drmInfo, kind) ? 0 : kUnusableDescription;
    if (m_lastError != 0)
        return 0;
    return kind == kMarlinMs3 ? OnContentStart() : 1;
}

/// @return whether the text can be used; why not is logged
bool CencHandler::readKind(const std::string& text, std::string& kind) {
    constexpr const char* kOperation = "OnContentStart";
    if (text.empty()) {
        HAS_LOG_OF(kOperation, " [* ERROR] tDRMInfo.size() is zero ");
        return false;
    }
    const auto read = kindIn(text);
    if (!read) {
        HAS_LOG_OF(kOperation, "[* ERROR] TYPE isn't defined ");
        return false;
    }
    if (takeKind(*read, kind))
        return true;
    HAS_LOG_OF(kOperation, "[* ERROR] unknown type ");
    return false;
}

int CencHandler::GetUndecryptedData(unsigned int& size) const {
    size = m_content.getUndecryptedData();
    return 1;
}

int CencHandler::OnSegmentStart() {
    if (refuses(__func__))
        return 0;
    m_content.startSegment();
    return 1;
}

int CencHandler::ProcessSegmentData(int period, int representation, const unsigned char* in,
                                    unsigned int inLen, unsigned char* out, unsigned int& outLen) {
    if (refuses(__func__))
        return 0;
    const int result = withoutThrowing([&] {
        // Its parameter is not const, but it only reads.
        return m_content.process(period, representation, const_cast<unsigned char*>(in), inLen, out,
                                 outLen);
    });
    if (result >= 0)
        return 1;
    keepError();
    HAS_LOG_COLOURED(__func__, "\033[0m", " [*] ProcessSegmentData( %d,  %d ) ", period,
                     representation);
    return 0;
}

int CencHandler::ProcessSegmentFinalData(int period, int representation, unsigned char* out,
                                         unsigned int& outLen) {
    if (refuses(__func__))
        return 0;
    const int result =
        withoutThrowing([&] { return m_content.final(period, representation, out, outLen); });
    if (result < 0) {
        keepError();
        HAS_LOG_COLOURED(__func__, "\033[0m", " [*] ProcessSegmentFinalData( %d,  %d )", period,
                         representation);
    }
    HAS_LOG("Final::out_len( %d ) %s", static_cast<int>(outLen), m_traits.finalEnd);
    return result < 0 ? 0 : 1;
}

int CencHandler::OnSegmentEnd() {
    return refuses(__func__) ? 0 : 1;
}

void CencHandler::ResetBuffer() const {
    m_content.resetBuffer();
}

void CencHandler::setContentProtectionInfo(int period, int representation,
                                           void* descriptors) const {
    const int result = withoutThrowing([&] {
        m_content.setContentProtectionInfo(period, representation, descriptors);
        return 0;
    });
    if (result < 0)
        HAS_LOG("[* ERROR] no memory for descriptors ( %d, %d ) ", period, representation);
}

} // namespace hascommon::detail
