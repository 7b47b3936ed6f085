// What the DRM handlers of Common Encryption have in common.
//
// The log lines are macros, because each is to carry the name of the handler's own file.
#pragma once

#include <Hascommon/detail/Log.h>
#include <Hasutil/CCENCMediaContent.h>

#include <new>

namespace hascommon::detail {

/// The last error after a DRM description that cannot be used.
constexpr int kUnusableDescription = -51;

/// Runs an operation of a content object. @return its result; -1 when there is no memory for it
template<typename Operation>
int withoutThrowing(const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

/// Passes a chunk on. @return the content object's result; -1 without memory
inline int processChunk(CCENCMediaContent& content, int period, int representation,
                        const unsigned char* in, unsigned int inLen, unsigned char* out,
                        unsigned int& outLen) {
    return withoutThrowing([&] {
        // Its parameter is not const, but it only reads.
        return content.process(period, representation, const_cast<unsigned char*>(in), inLen, out,
                               outLen);
    });
}

/// Ends a segment's data. @return the content object's result; -1 without memory
inline int finishSegment(CCENCMediaContent& content, int period, int representation,
                         unsigned char* out, unsigned int& outLen) {
    return withoutThrowing([&] { return content.final(period, representation, out, outLen); });
}

/// Passes descriptors on. @return whether they are stored; not without memory
inline bool storeDescriptors(CCENCMediaContent& content, int period, int representation,
                             void* descriptors) {
    const int result = withoutThrowing([&] {
        content.setContentProtectionInfo(period, representation, descriptors);
        return 0;
    });
    return result == 0;
}

} // namespace hascommon::detail

// In colour like other highlighted lines, but for the blanks around the text: these have none of
// their own before it, and only a refusal has one behind the colour.
#define HAS_LOG_HANDLER_LINE(after, format, ...)                                                   \
    HAS_LOG_ARGS(::hascommon::detail::kLogHighlighted, "\033[1;31;42m", after, HAS_LOG_FUNCTION,   \
                 format, __VA_ARGS__)

/// A handler refuses, because of this last error.
#define HAS_LOG_HANDLER_REFUSAL(code)                                                              \
    HAS_LOG_HANDLER_LINE("\033[0m ", "[* ERROR] DRM hander Last Error Code ( %d ) ", code)

/// A chunk could not be processed.
#define HAS_LOG_PROCESS_FAILURE(period, representation)                                            \
    HAS_LOG_HANDLER_LINE("\033[0m", " [*] ProcessSegmentData( %d,  %d ) ", period, representation)

/// The end of a segment's data could not be processed.
#define HAS_LOG_FINAL_FAILURE(period, representation)                                              \
    HAS_LOG_HANDLER_LINE("\033[0m", " [*] ProcessSegmentFinalData( %d,  %d )", period,             \
                         representation)
