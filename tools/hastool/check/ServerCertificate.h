// The certificate that a server shows.
#pragma once

#include <string>

namespace hastool {

/// What is known of a TLS server's certificate.
struct ServerCertificate {
    std::string host;
    int port = 443;
    std::string failure;      ///< why the server could not be asked; empty when it could
    std::string verifyResult; ///< why the chain is not trusted; empty when it is
    bool isExpired = false;
    bool isNotYetValid = false;
    bool lacksIntermediate = false; ///< no chain can be made with what the server sends
    bool isSelfSigned = false;
    bool isBad = false;    ///< the chain has another fault than a root that is not trusted
    bool namesHost = true; ///< one of its names is the host (RFC 6125)
    double daysLeft = 0;   ///< until it ends
};

} // namespace hastool
