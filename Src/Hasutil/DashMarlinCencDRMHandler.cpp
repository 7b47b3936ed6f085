#include <Hasutil/DashMarlinCencDRMHandler.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/CencHandler.h>

namespace hascommon {
namespace {

constexpr detail::CencTraits kTraits = {
    "DashMarlinCencDRMHandler.cpp",
    eDRM_TYPE_MARLIN_MS3,
    false, // keepsErrors
    false, // logsProperties
    "\n",
};

} // namespace

DashMarlinCencDRMHandler::DashMarlinCencDRMHandler(CONTENT_TYPE contentType, bool flag)
    : m_contentType(contentType)
    , m_flag(flag)
    , m_content(std::make_unique<CCENCMediaContent>()) {
    m_content->setMode(m_contentType);
}

DashMarlinCencDRMHandler::~DashMarlinCencDRMHandler() = default;

detail::CencHandler DashMarlinCencDRMHandler::common() {
    return {kTraits, m_flag, m_lastError, *m_content};
}

int DashMarlinCencDRMHandler::GetLastErrorCode() {
    return m_lastError;
}

int DashMarlinCencDRMHandler::SetDRMProperty(Has_DRMPropertyType type, std::string value) {
    return common().SetDRMProperty(type, value);
}

int DashMarlinCencDRMHandler::AddSchemeInformation(int, int, MediaType, const std::string&) {
    return 1;
}

int DashMarlinCencDRMHandler::UpdateSchemeInformation(int, int, MediaType, const std::string&) {
    return common().UpdateSchemeInformation();
}

int DashMarlinCencDRMHandler::DeletePeriod(int) {
    return 1;
}

int DashMarlinCencDRMHandler::OnContentStart(void* drmInfo) {
    return common().OnContentStart(static_cast<const std::string*>(drmInfo), m_type);
}

int DashMarlinCencDRMHandler::GetUndecryptedData(int, int, unsigned int& size) {
    return common().GetUndecryptedData(size);
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
    return common().OnSegmentStart();
}

int DashMarlinCencDRMHandler::ProcessSegmentData(int period, int representation,
                                                 const unsigned char* in, unsigned int inLen,
                                                 unsigned char* out, unsigned int& outLen) {
    return common().ProcessSegmentData(period, representation, in, inLen, out, outLen);
}

int DashMarlinCencDRMHandler::ProcessSegmentFinalData(int period, int representation,
                                                      unsigned char*& out, unsigned int& outLen) {
    return common().ProcessSegmentFinalData(period, representation, out, outLen);
}

int DashMarlinCencDRMHandler::OnSegmentEnd(int, int) {
    return common().OnSegmentEnd();
}

int DashMarlinCencDRMHandler::OnContentEnd() {
    return 1;
}

void DashMarlinCencDRMHandler::SetExtendHandler(IDashDRMCallback*) {}

void DashMarlinCencDRMHandler::ResetBuffer() {
    common().ResetBuffer();
}

void DashMarlinCencDRMHandler::GetDRMErrorCode(int*) {}

void DashMarlinCencDRMHandler::GetDRMErrInfo(std::string&) {}

void DashMarlinCencDRMHandler::SetDRMHeader(std::string) {}

void DashMarlinCencDRMHandler::setContentProtectionInfo(int period, int representation,
                                                        void* descriptors) {
    common().setContentProtectionInfo(period, representation, descriptors);
}

} // namespace hascommon
