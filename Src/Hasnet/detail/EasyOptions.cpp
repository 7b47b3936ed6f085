#include <Hasnet/detail/EasyOptions.h>

#include <Hasnet/detail/TransferLimits.h>
#include <Hasnet/detail/TransferReport.h>

#include <openssl/evp.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace hascommon::detail {
namespace {

constexpr unsigned int kHbbtvEngine = 5;
constexpr const char* kHbbtvAgent = "Hbbtv/1.2.1";
constexpr const char* kDefaultAgent = "quenlishas-agent/1.1";
/// A redirect loop has to end; browsers give up after about as many.
constexpr long kMaxRedirects = 30;

template<typename Function>
const void* asFunction(Function* function) {
    return reinterpret_cast<const void*>(function);
}

/// Opens a socket as libcurl would itself, and tells its address and when select cannot wait for
/// it.
curl_socket_t openSocket(void* pointer, curlsocktype, curl_sockaddr* address) {
    auto& watch = *static_cast<SocketWatch*>(pointer);
    const int fd = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (fd >= FD_SETSIZE)
        *watch.highSockets = true;
    watch.peer = peerText(address->addr, address->addrlen);
    return fd;
}

void setTarget(ICurlEasy& easy, const EasyRequest& request) {
    if (!request.options->proxy.empty())
        easy.SetOpt(CURLOPT_PROXY, request.options->proxy.c_str());
    easy.SetOpt(CURLOPT_URL, request.info.url.c_str());
    if (!request.info.range.empty())
        easy.SetOpt(CURLOPT_RANGE, request.info.range.c_str());
    if (!request.cookie.empty())
        easy.SetOpt(CURLOPT_COOKIE, request.cookie.c_str());
    if (request.options->headerList)
        easy.SetOpt(CURLOPT_HTTPHEADER, request.options->headerList.get());
}

void setFixed(ICurlEasy& easy, const EasyRequest& request, const EasyCallbacks& callbacks) {
    easy.SetOpt(CURLOPT_FAILONERROR, asOption(1));
    easy.SetOpt(CURLOPT_WRITEFUNCTION, asFunction(callbacks.write));
    easy.SetOpt(CURLOPT_WRITEDATA, request.unit);
    easy.SetOpt(CURLOPT_HEADERFUNCTION, asFunction(callbacks.header));
    easy.SetOpt(CURLOPT_HEADERDATA, request.unit);
    easy.SetOpt(CURLOPT_FOLLOWLOCATION, asOption(1));
    easy.SetOpt(CURLOPT_HEADER, asOption(0));
    easy.SetOpt(CURLOPT_NOBODY, asOption(0));
    easy.SetOpt(CURLOPT_ERRORBUFFER, request.errorBuffer);
    easy.SetOpt(CURLOPT_PRIVATE, request.unit);
    easy.SetOpt(CURLOPT_NOSIGNAL, asOption(1));
    easy.SetOpt(CURLOPT_NOPROGRESS, asOption(0));
    easy.SetOpt(CURLOPT_PROGRESSFUNCTION, asFunction(callbacks.progress));
    easy.SetOpt(CURLOPT_PROGRESSDATA, request.unit);
    easy.SetOpt(CURLOPT_ACCEPT_ENCODING, "");
    easy.SetOpt(CURLOPT_FILETIME, asOption(1));
}

void setCondition(ICurlEasy& easy, const UrlInfo& info) {
    if (!info.keepInfo || info.fileTime == 0)
        return;
    easy.SetOpt(CURLOPT_TIMECONDITION, asOption(CURL_TIMECOND_IFMODSINCE));
    easy.SetOpt(CURLOPT_TIMEVALUE, asOption(info.fileTime));
}

void setAgent(ICurlEasy& easy, const EasyRequest& request) {
    const std::string& agent = request.options->agent;
    if (request.engineInfo == kHbbtvEngine)
        easy.SetOpt(CURLOPT_USERAGENT, kHbbtvAgent);
    else
        easy.SetOpt(CURLOPT_USERAGENT, agent.empty() ? kDefaultAgent : agent.c_str());
}

/// What keeps a server, or a proxy on the way, from leading the engine astray.
void setBounds(ICurlEasy& easy, const EasyRequest& request) {
    easy.SetOpt(CURLOPT_PROTOCOLS_STR, "http,https");
    easy.SetOpt(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    if (request.options->connectLimitMs > 0)
        easy.SetOpt(CURLOPT_CONNECTTIMEOUT_MS, asOption(request.options->connectLimitMs));
    easy.SetOpt(CURLOPT_MAXREDIRS, asOption(kMaxRedirects));
    // A proxy's answer to CONNECT is not the server's: no cookie or date is taken from it.
    easy.SetOpt(CURLOPT_SUPPRESS_CONNECT_HEADERS, asOption(1));
    easy.SetOpt(CURLOPT_OPENSOCKETFUNCTION, asFunction(openSocket));
    easy.SetOpt(CURLOPT_OPENSOCKETDATA, request.sockets);
}

} // namespace

void setOptions(ICurlEasy& easy, const EasyRequest& request, const EasyCallbacks& callbacks) {
    easy.Reset();
    setTarget(easy, request);
    setFixed(easy, request, callbacks);
    setCondition(easy, request.info);
    setAgent(easy, request);
    OPENSSL_add_all_algorithms_noconf();
    easy.SetOpt(CURLOPT_SSL_VERIFYPEER, asOption(request.options->verifyPeer ? 1 : 0));
    if (!request.options->caFile.empty())
        easy.SetOpt(CURLOPT_CAINFO, request.options->caFile.c_str());
    setBounds(easy, request);
}

} // namespace hascommon::detail
