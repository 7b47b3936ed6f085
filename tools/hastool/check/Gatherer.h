// Has all of a presentation that a check looks at.
#pragma once

#include "CertificateProbe.h"
#include "CheckSource.h"
#include "Evidence.h"
#include <hastool/base/TimeSource.h>

#include <cstddef>
#include <functional>
#include <string>

namespace hastool {

struct CheckOptions {
    bool manifestOnly = false; ///< no segments
    size_t sample = 0;         ///< how many segments of each rendition; 0: all
    double liveSeconds = 30;   ///< how long a live presentation is followed
    TimeSource time;
    std::function<void(double seconds)> sleep; ///< may return early; empty for the machine's
    /// Is told every now and then what has been looked at; may be empty.
    std::function<void(size_t segments, size_t known)> progress;
    /// Asks a TLS server for its certificate; empty for none to be asked.
    std::function<ServerCertificate(const ProbedServer& server)> probe;
};

/// Fetches the manifest and what it names, and reads it. A live presentation is followed for a
/// while. Whatever cannot be had or read is in the evidence too.
/// @throws ToolError where the URL itself cannot be had, or is no manifest
Evidence gather(const std::string& url, CheckSource& source, const CheckOptions& options);

} // namespace hastool
