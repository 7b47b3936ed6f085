/// @file
/// How a transfer went, in libcurl's terms.
#pragma once

#include <string>

namespace hascommon {

/// What really happened to a download, behind the unit code that its owner gets; see
/// Curl::GetFailure(). A plain record, the caller's own.
///
/// The times count from when libcurl began the transfer, in microseconds, as CURLINFO_*_TIME_T do:
/// each includes those before it, and those of a redirect's hops add up. A time is 0 for what the
/// transfer did not come to, and next to nothing for what a connection that was still open spared
/// it.
struct DownloadFailure {
    /// libcurl's result (CURLcode); 0 for success. 42 (CURLE_ABORTED_BY_CALLBACK) for a transfer
    /// that was cancelled, and 18 (CURLE_PARTIAL_FILE) for a connection that closed within the
    /// headers, which libcurl itself takes for an empty body.
    int curlCode = 0;
    /// libcurl's own words for it, "Failed to connect to 127.0.0.1 port 80 ..." say; those of the
    /// code (curl_easy_strerror) where it had none, and empty for success. Names the host, and may
    /// name parts of the URL.
    std::string text;
    /// The system's error number (errno) where a connection failed, 0 where there was none.
    int osError = 0;
    /// The status of the last response (RFC 9110, section 15), 0 when there was none.
    long httpStatus = 0;
    /// Numeric address and port of the last connection, tried or made: "192.0.2.1:443" or
    /// "[2001:db8::1]:443". The proxy's where there is one; empty when no connection was tried.
    std::string peer;
    long long nameLookup = 0; ///< until the host's name was resolved
    long long connect = 0;    ///< until the TCP connection stood
    long long tls = 0;        ///< until TLS was agreed on; 0 without TLS
    long long firstByte = 0;  ///< until the first byte of the response
};

} // namespace hascommon
