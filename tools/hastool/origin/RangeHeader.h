// Which bytes of a file a request asks for.
#pragma once

#include <cstdint>
#include <string>

namespace hastool {

/// What a Range header (RFC 9110, 14.2) means for a file.
struct RangeAnswer {
    enum class Kind { Whole, Part, Unsatisfiable };
    Kind kind = Kind::Whole;
    uint64_t first = 0;
    uint64_t length = 0;
};

/// The answer to several ranges, to other units and to text that cannot be read is the whole file.
/// @param header  "bytes=0-99", "bytes=100-", "bytes=-5"; empty without such a header
RangeAnswer answerRange(const std::string& header, uint64_t fileSize);

} // namespace hastool
