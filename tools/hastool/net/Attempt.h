// How one attempt of a download went.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// One request and what came of it. The times count from its begin, in seconds, each including
/// those before it; 0 for what the attempt did not come to.
struct Attempt {
    std::string result; ///< "HTTP 200", "time-out"
    std::string peer;   ///< address and port; empty when no connection was tried
    std::string cache;  ///< what the server's header says of caches: "Age: 5; X-Cache: HIT"
    double lookup = 0;  ///< until the host's name was resolved
    double connect = 0; ///< until the TCP connection stood
    double tls = 0;     ///< until TLS was agreed on
    double firstByte = 0;
    double end = 0;
    uint64_t bytes = 0;
};

/// How many attempts of a download are kept: the last ones.
constexpr size_t kMostAttempts = 20;

/// Adds an attempt; of too many the first goes.
void keepAttempt(std::vector<Attempt>& attempts, Attempt attempt);

/// The header lines that tell of caches, from one or more responses of which the last one counts.
std::string cacheFields(const std::string& headerLines);

} // namespace hastool
