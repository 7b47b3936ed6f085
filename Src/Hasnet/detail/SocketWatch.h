// What the engine learns from the sockets that libcurl opens.
#pragma once

#include <atomic>
#include <string>

namespace hascommon::detail {

/// What a request's sockets tell; filled while libcurl opens one.
struct SocketWatch {
    /// Set when libcurl opens a socket that select cannot wait for.
    std::atomic<bool>* highSockets = nullptr;
    /// The address of the last one opened, as DownloadFailure::peer has it.
    std::string peer;
};

} // namespace hascommon::detail
