#include <Hasutil/DashMarlinCencDRMHandler.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/CencHandler.h>

#include <optional>
#include <string_view>

namespace hascommon {
namespace {

constexpr std::string_view kTypeKey = "TYPE=";
constexpr std::string_view kMarlinBroadband = "MARLIN-BB";
constexpr std::string_view kMarlinMs3 = "MARLIN-MS3";

/// What stands behind the key, up to the next separator; nothing without the key.
std::optional<std::string_view> typeIn(std::string_view text) {
    const size_t key = text.find(kTypeKey);
    if (key == std::string_view::npos)
        return std::nullopt;
    const std::string_view rest = text.substr(key + kTypeKey.size());
    return rest.substr(0, rest.find('|'));
}

} // namespace

DashMarlinCencDRMHandler::DashMarlinCencDRMHandler(CONTENT_TYPE contentType, bool flag)
    : m_contentType(contentType)
    , m_flag(flag)
    , m_content(std::make_unique<CCENCMediaContent>()) {
    m_content->setMode(m_contentType);
}

DashMarlinCencDRMHandler::~DashMarlinCencDRMHandler() = default;

int DashMarlinCencDRMHandler::GetLastErrorCode() {
    return m_lastError;
}

int DashMarlinCencDRMHandler::SetDRMProperty(Has_DRMPropertyType, std::string) {
    return 1;
}

int DashMarlinCencDRMHandler::AddSchemeInformation(int, int, MediaType, const std::string&) {
    return 1;
}

int DashMarlinCencDRMHandler::UpdateSchemeInformation(int, int, MediaType, const std::string&) {
    m_content->resetBuffer();
    return 1;
}

int DashMarlinCencDRMHandler::DeletePeriod(int) {
    return 1;
}

/// Remembers a kind. @return whether it can be used
bool DashMarlinCencDRMHandler::takeType(std::string_view type) {
    if (type.empty())
        return true;
    const int result = detail::withoutThrowing([&] {
        m_type = type;
        return 0;
    });
    return result == 0 && (type == kMarlinBroadband || type == kMarlinMs3);
}

int DashMarlinCencDRMHandler::OnContentStart(void* drmInfo) {
    if (drmInfo == nullptr)
        return 1;
    const std::string& text = *static_cast<const std::string*>(drmInfo);
    m_lastError = 0;
    if (text.empty()) {
        HAS_LOG(" [* ERROR] tDRMInfo.size() is zero ");
        m_lastError = detail::kUnusableDescription;
        return 0;
    }
    const auto type = typeIn(text);
    if (!type) {
        HAS_LOG("[* ERROR] TYPE isn't defined ");
        m_lastError = detail::kUnusableDescription;
        return 0;
    }
    if (!takeType(*type)) {
        HAS_LOG("[* ERROR] unknown type ");
        m_lastError = detail::kUnusableDescription;
        return 0;
    }
    if (m_type == kMarlinMs3)
        m_content->init(eDRM_TYPE_MARLIN_MS3, m_flag);
    return 1;
}

int DashMarlinCencDRMHandler::GetUndecryptedData(int, int, unsigned int& size) {
    size = m_content->getUndecryptedData();
    return 1;
}

int DashMarlinCencDRMHandler::GetDRMDownloadInfo(int, int, int&, std::string&, unsigned char*&,
                                                 unsigned int&) {
    return 0;
}

int DashMarlinCencDRMHandler::ProcessDRMInfo(int, int, int, unsigned int, unsigned char*,
                                             unsigned int) {
    return 1;
}

int DashMarlinCencDRMHandler::OnSegmentStart(int, int, int, void*, bool) {
    if (m_lastError != 0) {
        HAS_LOG_HANDLER_REFUSAL(m_lastError);
        return 0;
    }
    m_content->startSegment();
    return 1;
}

int DashMarlinCencDRMHandler::ProcessSegmentData(int period, int representation,
                                                 const unsigned char* in, unsigned int inLen,
                                                 unsigned char* out, unsigned int& outLen) {
    if (m_lastError != 0) {
        HAS_LOG_HANDLER_REFUSAL(m_lastError);
        return 0;
    }
    if (detail::processChunk(*m_content, period, representation, in, inLen, out, outLen) >= 0)
        return 1;
    HAS_LOG_PROCESS_FAILURE(period, representation);
    return 0;
}

int DashMarlinCencDRMHandler::ProcessSegmentFinalData(int period, int representation,
                                                      unsigned char*& out, unsigned int& outLen) {
    if (m_lastError != 0) {
        HAS_LOG_HANDLER_REFUSAL(m_lastError);
        return 0;
    }
    const int result = detail::finishSegment(*m_content, period, representation, out, outLen);
    if (result < 0) {
        HAS_LOG_FINAL_FAILURE(period, representation);
    }
    HAS_LOG("Final::out_len( %d ) \n", static_cast<int>(outLen));
    return result < 0 ? 0 : 1;
}

int DashMarlinCencDRMHandler::OnSegmentEnd(int, int) {
    if (m_lastError == 0)
        return 1;
    HAS_LOG_HANDLER_REFUSAL(m_lastError);
    return 0;
}

int DashMarlinCencDRMHandler::OnContentEnd() {
    return 1;
}

void DashMarlinCencDRMHandler::SetExtendHandler(IDashDRMCallback*) {}

void DashMarlinCencDRMHandler::ResetBuffer() {
    m_content->resetBuffer();
}

void DashMarlinCencDRMHandler::GetDRMErrorCode(int*) {}

void DashMarlinCencDRMHandler::GetDRMErrInfo(std::string&) {}

void DashMarlinCencDRMHandler::SetDRMHeader(std::string) {}

void DashMarlinCencDRMHandler::setContentProtectionInfo(int period, int representation,
                                                        void* descriptors) {
    if (!detail::storeDescriptors(*m_content, period, representation, descriptors))
        HAS_LOG("[* ERROR] no memory for descriptors ( %d, %d ) ", period, representation);
}

} // namespace hascommon
