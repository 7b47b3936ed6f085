/// @file
/// A finished transfer, as the multi handle reports it.
#pragma once

#include <curl/curl.h>

namespace hascommon {

/// One message of a multi handle; plain data, filled by ICurlMulti::InfoRead(). Its pointers are
/// good for as long as the easy handle is.
struct CurlMsg {
    /// The message kind; CURLMSG_DONE is the only one ever delivered.
    int msg;
    /// What was stored with CURLOPT_PRIVATE; not owned.
    void* privateData;
    /// The transfer's CURLcode.
    int result;
    /// The easy handle it is about; not owned.
    CURL* easyHandle;
};

} // namespace hascommon
