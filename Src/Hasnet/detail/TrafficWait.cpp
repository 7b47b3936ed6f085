#include <Hasnet/detail/TrafficWait.h>

#include <algorithm>

namespace hascommon::detail {

int waitForTraffic(ICurlMulti& multi, int wakeFd, bool highSockets, int timeoutMs) {
    fd_set read;
    fd_set write;
    fd_set except;
    FD_ZERO(&read);
    FD_ZERO(&write);
    FD_ZERO(&except);
    int maxFd = -1;
    multi.FDSet(&read, &write, &except, &maxFd);
    if (maxFd < 0 || highSockets || wakeFd < 0 || wakeFd >= FD_SETSIZE)
        return multi.Poll(wakeFd, timeoutMs);
    long timer = -1; // libcurl's own next deadline, which select does not know.
    if (timeoutMs > 0)
        curl_multi_timeout(multi.GetHandle(), &timer);
    if (timer >= 0 && timer < timeoutMs)
        timeoutMs = static_cast<int>(timer);
    FD_SET(wakeFd, &read);
    timeval timeout{0, static_cast<suseconds_t>(timeoutMs) * 1000};
    return multi.Select(std::max(maxFd, wakeFd) + 1, &read, &write, &except, &timeout);
}

} // namespace hascommon::detail
