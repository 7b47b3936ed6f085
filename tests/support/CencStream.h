// Drives a segment through CCENCMediaContent.
#pragma once

#include <Hasutil/CCENCMediaContent.h>
#include <support/ExactBytes.h>

#include <algorithm>
#include <vector>

namespace test {

/// What came out for a segment.
struct Emitted {
    std::vector<unsigned char> bytes;
    /// Whether every process() succeeded.
    bool isWhole = true;
};

/// Hands a segment to process() in pieces, up to the first call that fails.
/// @param room  bytes that each call may add to what it is given
inline Emitted deliver(CCENCMediaContent& content, const std::vector<unsigned char>& segment,
                       size_t piece, size_t room = 512, int period = 1, int representation = 1) {
    Emitted emitted;
    for (size_t at = 0; emitted.isWhole && at < segment.size(); at += piece) {
        const size_t size = std::min(piece, segment.size() - at);
        const ExactBytes in = ExactBytes::of(segment.data() + at, segment.data() + at + size);
        const ExactBytes out(content.getUndecryptedData() + size + room);
        unsigned int written = 0;
        const int result =
            content.process(period, representation, in.data(), in.uintSize(), out.data(), written);
        emitted.isWhole = result >= 0;
        emitted.bytes.insert(emitted.bytes.end(), out.data(), out.data() + written);
    }
    return emitted;
}

/// Ends a segment. @return what that gives out
inline std::vector<unsigned char> finish(CCENCMediaContent& content, size_t room = 512,
                                         int period = 1, int representation = 1) {
    const ExactBytes out(content.getUndecryptedData() + room);
    unsigned int written = 0;
    content.final(period, representation, out.data(), written);
    return {out.data(), out.data() + written};
}

/// Rewrites a whole segment, from its start to its end.
inline Emitted rewrite(CCENCMediaContent& content, const std::vector<unsigned char>& segment,
                       size_t piece, size_t room = 512) {
    content.startSegment();
    Emitted emitted = deliver(content, segment, piece, room);
    if (!emitted.isWhole)
        return emitted;
    const std::vector<unsigned char> rest = finish(content, room);
    emitted.bytes.insert(emitted.bytes.end(), rest.begin(), rest.end());
    emitted.isWhole = content.getLastErrorCode() == CCENCMediaContent::ERROR_NONE;
    return emitted;
}

} // namespace test
