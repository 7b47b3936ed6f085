#include <Hasutil/DashPlayReadyCencDRMHandler.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/CencHandler.h>

namespace hascommon {
namespace {

constexpr detail::CencTraits kTraits = {
    "DashPlayReadyCencDRMHandler.cpp",
    eDRM_TYPE_PLAYREADY,
    false, // keepsErrors
    true,  // logsProperties
    "",
};

} // namespace

DashPlayReadyCencDRMHandler::DashPlayReadyCencDRMHandler(CONTENT_TYPE contentType, bool flag)
    : m_contentType(contentType)
    , m_flag(flag)
    , m_content(std::make_unique<CCENCMediaContent>()) {
    m_content->setMode(m_contentType);
}

DashPlayReadyCencDRMHandler::~DashPlayReadyCencDRMHandler() = default;

detail::CencHandler DashPlayReadyCencDRMHandler::common() {
    return {kTraits, m_flag, m_lastError, *m_content};
}

int DashPlayReadyCencDRMHandler::GetLastErrorCode() {
    return m_lastError;
}

int DashPlayReadyCencDRMHandler::SetDRMProperty(Has_DRMPropertyType type, std::string value) {
    return common().SetDRMProperty(type, value);
}

int DashPlayReadyCencDRMHandler::AddSchemeInformation(int, int, MediaType, const std::string&) {
    return 1;
}

int DashPlayReadyCencDRMHandler::UpdateSchemeInformation(int, int, MediaType, const std::string&) {
    return common().UpdateSchemeInformation();
}

int DashPlayReadyCencDRMHandler::DeletePeriod(int) {
    return 1;
}

int DashPlayReadyCencDRMHandler::OnContentStart(void*) {
    return common().OnContentStart();
}

int DashPlayReadyCencDRMHandler::GetUndecryptedData(int, int, unsigned int& size) {
    return common().GetUndecryptedData(size);
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
    return common().OnSegmentStart();
}

int DashPlayReadyCencDRMHandler::ProcessSegmentData(int period, int representation,
                                                    const unsigned char* in, unsigned int inLen,
                                                    unsigned char* out, unsigned int& outLen) {
    return common().ProcessSegmentData(period, representation, in, inLen, out, outLen);
}

int DashPlayReadyCencDRMHandler::ProcessSegmentFinalData(int period, int representation,
                                                         unsigned char*& out,
                                                         unsigned int& outLen) {
    return common().ProcessSegmentFinalData(period, representation, out, outLen);
}

int DashPlayReadyCencDRMHandler::OnSegmentEnd(int, int) {
    return common().OnSegmentEnd();
}

int DashPlayReadyCencDRMHandler::OnContentEnd() {
    return 1;
}

void DashPlayReadyCencDRMHandler::SetExtendHandler(IDashDRMCallback*) {}

void DashPlayReadyCencDRMHandler::ResetBuffer() {
    common().ResetBuffer();
}

void DashPlayReadyCencDRMHandler::GetDRMErrorCode(int*) {}

void DashPlayReadyCencDRMHandler::GetDRMErrInfo(std::string&) {}

void DashPlayReadyCencDRMHandler::SetDRMHeader(std::string) {}

void DashPlayReadyCencDRMHandler::setContentProtectionInfo(int period, int representation,
                                                           void* descriptors) {
    common().setContentProtectionInfo(period, representation, descriptors);
}

} // namespace hascommon
