// Looks at a TLS server's certificate.
#pragma once

#include "ServerCertificate.h"

#include <chrono>
#include <string>

namespace hastool {

struct ProbedServer {
    std::string host; ///< a name or an address; without brackets
    int port = 443;
};

/// Connects and shakes hands, whatever is wrong with the certificate, and tells about it.
/// @param caFile    trusted certificates (PEM); empty: those of the machine
/// @param longest   gives up then, also while the name is being resolved, and at once when the user
///                  interrupts. What went wrong is the result's `failure`.
ServerCertificate probeCertificate(const ProbedServer& server, const std::string& caFile,
                                   std::chrono::milliseconds longest);

} // namespace hastool
