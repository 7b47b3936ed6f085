// What the owner has set for later requests.
#pragma once

#include <Hasnet/detail/HeaderList.h>

#include <string>

namespace hascommon::detail {

struct RequestOptions {
    std::string userCookie;
    std::string proxy;
    std::string agent;
    std::string caFile;
    bool verifyPeer = false;
    int connectLimitMs = 0; ///< 0 or below for libcurl's own
    HeaderList headerList;
};

} // namespace hascommon::detail
