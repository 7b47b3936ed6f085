// What libcurl tells of a transfer that has come to its end.
#pragma once

#include <Hasnet/DownloadFailure.h>
#include <Hasnet/ICurlEasy.h>

#include <string>

#include <sys/socket.h>

namespace hascommon::detail {

/// Reads how a transfer went from its handle.
/// @param words   libcurl's error buffer, empty where it wrote nothing
/// @param opened  the address of the last socket that was opened for it, empty when there was none
DownloadFailure reportOf(ICurlEasy& easy, CURLcode result, const char* words,
                         const std::string& opened);

/// The report of a transfer that libcurl has not run.
DownloadFailure reportWithoutTransfer(CURLcode result);

/// "192.0.2.1:80" or "[2001:db8::1]:80"; empty for an address of no such family.
std::string peerText(const sockaddr& address, socklen_t size);

} // namespace hascommon::detail
