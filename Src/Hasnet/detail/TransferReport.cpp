#include <Hasnet/detail/TransferReport.h>

#include <netdb.h>

namespace hascommon::detail {
namespace {

std::string joined(const std::string& host, const std::string& port) {
    const bool isV6 = host.find(':') != std::string::npos;
    return (isV6 ? "[" + host + "]" : host) + ":" + port;
}

std::string connectedPeer(ICurlEasy& easy) {
    char* address = nullptr;
    long port = 0;
    if (!easy.GetInfo(CURLINFO_PRIMARY_IP, &address) || address == nullptr || *address == '\0')
        return {};
    easy.GetInfoWithLong(CURLINFO_PRIMARY_PORT, &port);
    return joined(address, std::to_string(port));
}

/// In microseconds.
long long timeOf(ICurlEasy& easy, CURLINFO info) {
    curl_off_t time = 0;
    return easy.GetInfo(info, &time) ? static_cast<long long>(time) : 0;
}

} // namespace

DownloadFailure reportOf(ICurlEasy& easy, CURLcode result, const char* words,
                         const std::string& opened) {
    DownloadFailure report = reportWithoutTransfer(result);
    if (result != CURLE_OK && *words != '\0')
        report.text = words;
    easy.GetInfoWithLong(CURLINFO_RESPONSE_CODE, &report.httpStatus);
    long osError = 0;
    if (result == CURLE_COULDNT_CONNECT && easy.GetInfoWithLong(CURLINFO_OS_ERRNO, &osError))
        report.osError = static_cast<int>(osError);
    // libcurl names a peer once it is connected, a redirect's hop before included.
    const std::string connected = connectedPeer(easy);
    const bool isRefused = result == CURLE_COULDNT_CONNECT;
    report.peer = connected.empty() || (isRefused && !opened.empty()) ? opened : connected;
    report.nameLookup = timeOf(easy, CURLINFO_NAMELOOKUP_TIME_T);
    report.connect = timeOf(easy, CURLINFO_CONNECT_TIME_T);
    report.tls = timeOf(easy, CURLINFO_APPCONNECT_TIME_T);
    report.firstByte = timeOf(easy, CURLINFO_STARTTRANSFER_TIME_T);
    return report;
}

DownloadFailure reportWithoutTransfer(CURLcode result) {
    DownloadFailure report;
    report.curlCode = static_cast<int>(result);
    if (result != CURLE_OK)
        report.text = curl_easy_strerror(result);
    return report;
}

std::string peerText(const sockaddr& address, socklen_t size) {
    char host[NI_MAXHOST] = {};
    char port[NI_MAXSERV] = {};
    if (getnameinfo(&address, size, host, sizeof host, port, sizeof port,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return {};
    return joined(host, port);
}

} // namespace hascommon::detail
