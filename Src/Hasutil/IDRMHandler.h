/// @file
/// How the DASH engine passes protected segments through a DRM handler.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/DrmTypes.h>
#include <Hasutil/IDashDRMCallback.h>

#include <string>

namespace hascommon {

/// Takes the segments of protected representations in chunks, and gives back what the platform's
/// decryptor is to read. Nothing is decrypted on the way.
///
/// **Order of calls.** setContentProtectionInfo() for each period and representation, then
/// OnContentStart(); for each segment OnSegmentStart(), ProcessSegmentData() for each chunk,
/// ProcessSegmentFinalData(), OnSegmentEnd(); at a change of representation
/// UpdateSchemeInformation() or ResetBuffer(); at the end OnContentEnd().
///
/// **Results.** 1 for success, 0 for a refusal, which is logged. While GetLastErrorCode() is not 0
/// every segment operation refuses; only a new OnContentStart() clears it.
///
/// **Ownership.** Everything passed in stays the caller's and is not kept beyond the call; what is
/// needed later is copied. Handlers are made and owned by CDRMManager.
///
/// **Exceptions.** The operations of this library's handlers do not throw: without memory they
/// refuse. Making a handler may throw std::bad_alloc.
///
/// Thread safety: one thread at a time for one handler.
class HAS_API IDRMHandler {
public:
    virtual ~IDRMHandler();

    /// @return why the handler refuses; 0 for nothing. -51 stands for a DRM description that cannot
    ///         be used
    virtual int GetLastErrorCode() = 0;

    /// Sets a property.
    /// @return 1; no property changes what the handlers of this library do
    virtual int SetDRMProperty(Has_DRMPropertyType type, std::string value) = 0;

    /// Announces a representation's scheme.
    /// @return 1, with nothing done
    virtual int AddSchemeInformation(int period, int representation, MediaType mediaType,
                                     const std::string& scheme) = 0;

    /// Announces a change of representation: waiting bytes are dropped, and the next chunk begins a
    /// segment.
    /// @return 1
    virtual int UpdateSchemeInformation(int period, int representation, MediaType mediaType,
                                        const std::string& scheme) = 0;

    /// Announces the end of a period.
    /// @return 1, with nothing done
    virtual int DeletePeriod(int period) = 0;

    /// Begins a content and clears the last error.
    /// @param drmInfo  depends on the handler
    /// @return 1; 0 with the last error set when drmInfo cannot be used
    virtual int OnContentStart(void* drmInfo) = 0;

    /// Tells how many bytes wait for the rest of their box.
    /// @param size  receives the number
    /// @return 1
    virtual int GetUndecryptedData(int period, int representation, unsigned int& size) = 0;

    /// Asks for something to download for the DRM system.
    /// @return 0: there is nothing, and no argument is touched
    virtual int GetDRMDownloadInfo(int period, int representation, int& type, std::string& url,
                                   unsigned char*& body, unsigned int& bodySize) = 0;

    /// Takes what was downloaded for the DRM system.
    /// @return 1, with nothing done
    virtual int ProcessDRMInfo(int period, int representation, int type, unsigned int status,
                               unsigned char* data, unsigned int size) = 0;

    /// Begins a segment. What is left of one that was given up is dropped with its first chunk.
    /// The last three arguments are not used.
    /// @return 1; 0 when the handler refuses
    virtual int OnSegmentStart(int period, int representation, int kind, void* info, bool flag) = 0;

    /// Takes a chunk of a segment and writes every byte that can go on.
    /// @param in      `inLen` bytes, only read
    /// @param out     apart from `in`, with room for what waits (GetUndecryptedData()), `inLen`
    ///                bytes and, for each `moov` and `moof` among them, a `pssh` box: its data and
    ///                32 bytes
    /// @param outLen  receives the bytes written; a handler that refuses leaves it alone
    /// @return 1; 0 when the handler refuses or the chunk could not be processed
    virtual int ProcessSegmentData(int period, int representation, const unsigned char* in,
                                   unsigned int inLen, unsigned char* out,
                                   unsigned int& outLen) = 0;

    /// Ends a segment's data: writes what still waits.
    /// @param out     the place to write to, with room for what waits as above; the pointer itself
    ///                is not changed
    /// @param outLen  receives the bytes written; a handler that refuses leaves it alone
    /// @return 1; 0 when the handler refuses
    virtual int ProcessSegmentFinalData(int period, int representation, unsigned char*& out,
                                        unsigned int& outLen) = 0;

    /// Ends a segment.
    /// @return 1; 0 when the handler refuses
    virtual int OnSegmentEnd(int period, int representation) = 0;

    /// Ends the content.
    /// @return 1, with nothing done
    virtual int OnContentEnd() = 0;

    /// Offers an extension, which is ignored.
    virtual void SetExtendHandler(IDashDRMCallback* callback) = 0;

    /// Drops waiting bytes; the next chunk begins a segment.
    virtual void ResetBuffer() = 0;

    /// Does nothing: the number is left as it is. GetLastErrorCode() is the operation to ask.
    virtual void GetDRMErrorCode(int* code) = 0;

    /// Does nothing: the text is left as it is.
    virtual void GetDRMErrInfo(std::string& info) = 0;

    /// Does nothing.
    virtual void SetDRMHeader(std::string header) = 0;

    /// Stores the manifest's descriptors of a representation in place of those stored for it.
    /// @param descriptors  a `const std::list<dashengine::ContentProtection_t>*`, copied; null
    ///                     removes what was stored
    virtual void setContentProtectionInfo(int period, int representation, void* descriptors) = 0;
};

} // namespace hascommon
