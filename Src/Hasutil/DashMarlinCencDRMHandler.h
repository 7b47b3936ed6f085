/// @file
/// Passes DASH segments through for Marlin.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/IDRMHandler.h>

#include <memory>
#include <string>

class CCENCMediaContent;

namespace hascommon {
namespace detail {
class CencHandler;
}

/// The handler for Marlin. Segments pass as IDRMHandler and CCENCMediaContent say; everything not
/// described here is as the interface has it.
///
/// A segment that could not be processed does not become the last error: one damaged segment is a
/// short gap, and those behind it are to be played.
///
/// Thread safety: one thread at a time.
class HAS_API DashMarlinCencDRMHandler : public IDRMHandler {
public:
    /// A handler without an error, whose content has not begun.
    /// @param contentType  kept; nothing depends on it
    /// @param flag         whether audio and video are separate representations, see
    ///                     CCENCMediaContent::init()
    DashMarlinCencDRMHandler(CONTENT_TYPE contentType, bool flag);
    ~DashMarlinCencDRMHandler() override;
    DashMarlinCencDRMHandler(const DashMarlinCencDRMHandler&) = delete;
    DashMarlinCencDRMHandler& operator=(const DashMarlinCencDRMHandler&) = delete;

    int GetLastErrorCode() override;
    int SetDRMProperty(Has_DRMPropertyType type, std::string value) override;
    int AddSchemeInformation(int period, int representation, MediaType mediaType,
                             const std::string& scheme) override;
    int UpdateSchemeInformation(int period, int representation, MediaType mediaType,
                                const std::string& scheme) override;
    int DeletePeriod(int period) override;
    /// Begins a content, clears the last error and reads the kind of Marlin.
    ///
    /// The text's "TYPE=" is followed by the kind, up to a "|" or the end. "MARLIN-MS3" prepares
    /// the object for Common Encryption; "MARLIN-BB", which comes in MPEG-TS, needs no rewriting
    /// and leaves it alone. An empty kind stands for the one given before,
    /// which is not checked again. Where no kind was given before either, the text is accepted all
    /// the same and the object is left alone.
    /// @param drmInfo  a `const std::string*`, only read; null does nothing, not even clear the
    ///                 error
    /// @return 1; 0 with the last error -51 for an empty text, one without "TYPE=", or another
    ///         kind, which is remembered nevertheless
    int OnContentStart(void* drmInfo) override;
    int GetUndecryptedData(int period, int representation, unsigned int& size) override;
    int GetDRMDownloadInfo(int period, int representation, int& type, std::string& url,
                           unsigned char*& body, unsigned int& bodySize) override;
    int ProcessDRMInfo(int period, int representation, int type, unsigned int status,
                       unsigned char* data, unsigned int size) override;
    int OnSegmentStart(int period, int representation, int kind, void* info, bool flag) override;
    int ProcessSegmentData(int period, int representation, const unsigned char* in,
                           unsigned int inLen, unsigned char* out, unsigned int& outLen) override;
    int ProcessSegmentFinalData(int period, int representation, unsigned char*& out,
                                unsigned int& outLen) override;
    int OnSegmentEnd(int period, int representation) override;
    int OnContentEnd() override;
    void SetExtendHandler(IDashDRMCallback* callback) override;
    void ResetBuffer() override;
    void GetDRMErrorCode(int* code) override;
    void GetDRMErrInfo(std::string& info) override;
    void SetDRMHeader(std::string header) override;
    void setContentProtectionInfo(int period, int representation, void* descriptors) override;

private:
    HAS_LOCAL detail::CencHandler common();

    CONTENT_TYPE m_contentType;
    bool m_flag;
    std::string m_type;    ///< the kind of Marlin that OnContentStart() read last
    std::string m_unused1; ///< never filled; keeps the place of what follows
    std::string m_unused2; ///< the same
    int m_lastError = 0;
    std::unique_ptr<CCENCMediaContent> m_content;
};

} // namespace hascommon
