// What an origin answers.
#pragma once

#include "ChunkedSegment.h"
#include "FileAnswer.h"
#include "WebRequest.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// The head of an answer and what its body is.
struct OriginAnswer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;                    ///< used only when there is no file
    std::optional<FileAnswer> file;      ///< the body, when it comes from a file
    uint64_t length = 0;                 ///< of the file's part that is sent, in bytes
    std::optional<ChunkedSegment> paced; ///< the body, when it is one of a live stream

    /// Sets a body. @param type  its MIME type
    void setBody(const std::string& text, const std::string& type);

    /// The head as it is sent (RFC 9112, section 4), with the headers that all answers have.
    std::string head(const WebRequest& request) const;
    /// How many bytes of body the head announces.
    uint64_t bodyLength() const;
    /// Whether the body is sent in chunks (RFC 9112, 7.1), as its end is not there yet.
    bool isChunked() const { return paced && !paced->isComplete(); }
};

} // namespace hastool
