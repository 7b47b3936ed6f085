#include <Hasutil/DashQDRMCencDRMHandler.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/CencHandler.h>

namespace hascommon {
namespace {

constexpr detail::CencTraits kTraits = {
    "DashQDRMCencDRMHandler.cpp",
    eDRM_TYPE_QDRM,
    true, // keepsErrors
    true, // logsProperties
    "",
};

} // namespace

DashQDRMCencDRMHandler::DashQDRMCencDRMHandler(CONTENT_TYPE contentType, bool flag)
    : m_contentType(contentType)
    , m_flag(flag)
    , m_content(std::make_unique<CCENCMediaContent>()) {
    m_content->setMode(m_contentType);
}

DashQDRMCencDRMHandler::~DashQDRMCencDRMHandler() = default;

detail::CencHandler DashQDRMCencDRMHandler::common() {
    return {kTraits, m_flag, m_lastError, *m_content};
}

int DashQDRMCencDRMHandler::GetLastErrorCode() {
    return m_lastError;
}

int DashQDRMCencDRMHandler::SetDRMProperty(Has_DRMPropertyType type, std::string value) {
    return common().SetDRMProperty(type, value);
}

int DashQDRMCencDRMHandler::AddSchemeInformation(int, int, MediaType, const std::string&) {
    return 1;
}

int DashQDRMCencDRMHandler::UpdateSchemeInformation(int, int, MediaType, const std::string&) {
    return common().UpdateSchemeInformation();
}

int DashQDRMCencDRMHandler::DeletePeriod(int) {
    return 1;
}

int DashQDRMCencDRMHandler::OnContentStart(void*) {
    return common().OnContentStart();
}

int DashQDRMCencDRMHandler::GetUndecryptedData(int, int, unsigned int& size) {
    return common().GetUndecryptedData(size);
}

int DashQDRMCencDRMHandler::GetDRMDownloadInfo(int, int, int&, std::string&, unsigned char*&,
                                               unsigned int&) {
    return 0;
}

int DashQDRMCencDRMHandler::ProcessDRMInfo(int, int, int, unsigned int, unsigned char*,
                                           unsigned int) {
    return 1;
}

int DashQDRMCencDRMHandler::OnSegmentStart(int, int, int, void*, bool) {
    return common().OnSegmentStart();
}

int DashQDRMCencDRMHandler::ProcessSegmentData(int period, int representation,
                                               const unsigned char* in, unsigned int inLen,
                                               unsigned char* out, unsigned int& outLen) {
    return common().ProcessSegmentData(period, representation, in, inLen, out, outLen);
}

int DashQDRMCencDRMHandler::ProcessSegmentFinalData(int period, int representation,
                                                    unsigned char*& out, unsigned int& outLen) {
    return common().ProcessSegmentFinalData(period, representation, out, outLen);
}

int DashQDRMCencDRMHandler::OnSegmentEnd(int, int) {
    return common().OnSegmentEnd();
}

int DashQDRMCencDRMHandler::OnContentEnd() {
    return 1;
}

void DashQDRMCencDRMHandler::SetExtendHandler(IDashDRMCallback*) {}

void DashQDRMCencDRMHandler::ResetBuffer() {
    common().ResetBuffer();
}

void DashQDRMCencDRMHandler::GetDRMErrorCode(int*) {}

void DashQDRMCencDRMHandler::GetDRMErrInfo(std::string&) {}

void DashQDRMCencDRMHandler::SetDRMHeader(std::string) {}

void DashQDRMCencDRMHandler::setContentProtectionInfo(int period, int representation,
                                                      void* descriptors) {
    common().setContentProtectionInfo(period, representation, descriptors);
}

} // namespace hascommon
