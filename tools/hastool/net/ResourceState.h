// What tells one state of a resource from another.
#pragma once

#include "ResponseHead.h"

#include <cstdint>
#include <optional>
#include <string>

namespace hastool {

/// What a server said of a resource with its bytes, so that more of the same may be asked for.
struct ResourceState {
    std::string etag; ///< with its quotation marks; only a strong one
    std::string date; ///< Last-Modified as sent, where it tells one state from the next
    std::optional<uint64_t> total; ///< bytes of the whole

    /// What goes into If-Range (RFC 9110, section 13.1.5); empty where nothing can.
    const std::string& ifRange() const { return etag.empty() ? date : etag; }
};

/// What a whole answer tells. Nothing for one with a Content-Encoding, whose bytes are counted
/// otherwise than those of a range. A date counts where there is no ETag at all and the resource
/// has not changed within a second of the answer: it may have changed again since otherwise.
ResourceState stateOf(const ResponseHead& head);

/// Content-Range (RFC 9110, section 14.4): "bytes 100-199/1000", of which the total may be "*", or
/// "bytes */1000" for a range that there is not.
struct ContentRange {
    std::optional<uint64_t> first;
    uint64_t last = 0; ///< where there is a first
    std::optional<uint64_t> total;
};

/// @return nothing for a text that is no such range, and for one that ends before its begin or
///         behind its total
std::optional<ContentRange> parseContentRange(const std::string& text);

/// What an answer to a request for the bytes from an offset on is good for.
enum class AnswerFit {
    GoesOn,  ///< more of the same, from the offset on
    Anew,    ///< the whole from its begin
    NotAtAll ///< neither, or something that contradicts what is known
};

/// @param offset  bytes that are there; 0 where the whole was asked for
/// @param known   what was told with them
AnswerFit fitOf(const ResponseHead& head, uint64_t offset, const ResourceState& known);

/// How many bytes there are in the whole, by an answer that goes on.
std::optional<uint64_t> totalOf(const ResponseHead& head, const ResourceState& known);

/// Whether a refused range (416) means that all the bytes are there.
bool saysComplete(const ResponseHead& head, uint64_t offset, const ResourceState& known);

} // namespace hastool
