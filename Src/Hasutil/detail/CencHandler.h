// What the DRM handlers of Common Encryption do, each by a row of its own.
#pragma once

#include <Hasutil/DrmTypes.h>

#include <string>

class CCENCMediaContent;

namespace hascommon::detail {

/// In what one handler differs from another.
struct CencTraits {
    /// The source file that its log lines name.
    const char* file;
    /// The system that its content is begun for.
    eDRM_TYPE type;
    /// Whether the error of a segment becomes the last error, which later ones are refused for.
    bool keepsErrors;
    /// Whether a property that is set is logged.
    bool logsProperties;
    /// What the line at the end of a segment's data ends with.
    const char* finalEnd;
};

/// A handler at work. It lives for one call and owns nothing: the members are the handler's, whose
/// operations have the names of those here and forward to them.
class CencHandler {
public:
    CencHandler(const CencTraits& traits, bool isSeparated, int& lastError,
                CCENCMediaContent& content)
        : m_traits(traits)
        , m_isSeparated(isSeparated)
        , m_lastError(lastError)
        , m_content(content) {}

    int SetDRMProperty(Has_DRMPropertyType type, const std::string& value) const;
    int UpdateSchemeInformation() const;
    /// Begins a content that needs no description.
    int OnContentStart();
    /// Begins one whose description names its kind of Marlin.
    /// @param kind  the last kind that was named; receives the new one
    int OnContentStart(const std::string* drmInfo, std::string& kind);
    int GetUndecryptedData(unsigned int& size) const;
    int OnSegmentStart();
    int ProcessSegmentData(int period, int representation, const unsigned char* in,
                           unsigned int inLen, unsigned char* out, unsigned int& outLen);
    int ProcessSegmentFinalData(int period, int representation, unsigned char* out,
                                unsigned int& outLen);
    int OnSegmentEnd();
    void ResetBuffer() const;
    void setContentProtectionInfo(int period, int representation, void* descriptors) const;

private:
    bool refuses(const char* operation) const;
    bool readKind(const std::string& text, std::string& kind);
    void keepError();

    const CencTraits& m_traits;
    bool m_isSeparated;
    int& m_lastError;
    CCENCMediaContent& m_content;
};

} // namespace hascommon::detail
