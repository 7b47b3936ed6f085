#include <Hasutil/DashPlayReadyCencDRMHandler.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/CencHandler.h>

namespace hascommon {

DashPlayReadyCencDRMHandler::DashPlayReadyCencDRMHandler(CONTENT_TYPE contentType, bool flag)
    : m_contentType(contentType)
    , m_flag(flag)
    , m_content(std::make_unique<CCENCMediaContent>()) {
    m_content->setMode(m_contentType);
}

DashPlayReadyCencDRMHandler::~DashPlayReadyCencDRMHandler() = default;

int DashPlayReadyCencDRMHandler::GetLastErrorCode() {
    return m_lastError;
}

int DashPlayReadyCencDRMHandler::SetDRMProperty(Has_DRMPropertyType type, std::string value) {
    HAS_LOG(" SetDRMProperty( %s, %d) ", value.c_str(), static_cast<int>(type));
    return 1;
}

int DashPlayReadyCencDRMHandler::AddSchemeInformation(int, int, MediaType, const std::string&) {
    return 1;
}

int DashPlayReadyCencDRMHandler::UpdateSchemeInformation(int, int, MediaType, const std::string&) {
    m_content->resetBuffer();
    return 1;
}

int DashPlayReadyCencDRMHandler::DeletePeriod(int) {
    return 1;
}

int DashPlayReadyCencDRMHandler::OnContentStart(void*) {
    m_lastError = 0;
    m_content->init(eDRM_TYPE_PLAYREADY, m_flag);
    return 1;
}

int DashPlayReadyCencDRMHandler::GetUndecryptedData(int, int, unsigned int& size) {
    size = m_content->getUndecryptedData();
    return 1;
}

int DashPlayReadyCencDRMHandler::GetDRMDownloadInfo(int, int, int&, std::string&, unsigned char*&,
                                                    unsigned int&) {
    return 0;
}

int DashPlayReadyCencDRMHandler::ProcessDRMInfo(int, int, int, unsigned int, unsigned char*,
                                                unsigned int) {
    return 1;
}

int DashPlayReadyCencDRMHandler::OnSegmentStart(int, int, int, void*, bool) {
    if (m_lastError != 0) {
        HAS_LOG_HANDLER_REFUSAL(m_lastError);
        return 0;
    }
    m_content->startSegment();
    return 1;
}

int DashPlayReadyCencDRMHandler::ProcessSegmentData(int period, int representation,
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

int DashPlayReadyCencDRMHandler::ProcessSegmentFinalData(int period, int representation,
                                                         unsigned char*& out,
                                                         unsigned int& outLen) {
    if (m_lastError != 0) {
        HAS_LOG_HANDLER_REFUSAL(m_lastError);
        return 0;
    }
    const int result = detail::finishSegment(*m_content, period, representation, out, outLen);
    if (result < 0) {
        HAS_LOG_FINAL_FAILURE(period, representation);
    }
    HAS_LOG("Final::out_len( %d ) ", static_cast<int>(outLen));
    return result < 0 ? 0 : 1;
}

int DashPlayReadyCencDRMHandler::OnSegmentEnd(int, int) {
    if (m_lastError == 0)
        return 1;
    HAS_LOG_HANDLER_REFUSAL(m_lastError);
    return 0;
}

int DashPlayReadyCencDRMHandler::OnContentEnd() {
    return 1;
}

void DashPlayReadyCencDRMHandler::SetExtendHandler(IDashDRMCallback*) {}

void DashPlayReadyCencDRMHandler::ResetBuffer() {
    m_content->resetBuffer();
}

void DashPlayReadyCencDRMHandler::GetDRMErrorCode(int*) {}

void DashPlayReadyCencDRMHandler::GetDRMErrInfo(std::string&) {}

void DashPlayReadyCencDRMHandler::SetDRMHeader(std::string) {}

void DashPlayReadyCencDRMHandler::setContentProtectionInfo(int period, int representation,
                                                           void* descriptors) {
    if (!detail::storeDescriptors(*m_content, period, representation, descriptors))
        HAS_LOG("[* ERROR] no memory for descriptors ( %d, %d ) ", period, representation);
}

} // namespace hascommon
