// How a request is set up on its libcurl handle.
#pragma once

#include <Hasnet/ICurlEasy.h>
#include <Hasnet/detail/RequestOptions.h>
#include <Hasnet/detail/SocketWatch.h>
#include <Hasnet/detail/UrlInfoTable.h>

#include <string>

namespace hascommon::detail {

/// libcurl's callbacks; each gets the unit as its user pointer.
struct EasyCallbacks {
    size_t (*write)(char*, size_t, size_t, void*);
    size_t (*header)(char*, size_t, size_t, void*);
    int (*progress)(void*, double, double, double, double);
};

/// One request, as far as libcurl is told of it. What is pointed to outlives the transfer, but for
/// `options`, which libcurl copies from.
struct EasyRequest {
    const RequestOptions* options = nullptr;
    UrlInfo info;
    std::string cookie;
    unsigned int engineInfo = 0;
    char* errorBuffer = nullptr;
    void* unit = nullptr;
    /// Is told of the sockets that libcurl opens.
    SocketWatch* sockets = nullptr;
};

/// Sets the handle back and gives it all options of the request.
void setOptions(ICurlEasy& easy, const EasyRequest& request, const EasyCallbacks& callbacks);

} // namespace hascommon::detail
