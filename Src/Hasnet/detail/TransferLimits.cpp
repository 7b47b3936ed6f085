#include <Hasnet/detail/TransferLimits.h>

#include <algorithm>
#include <climits>

namespace hascommon::detail {
namespace {

constexpr long kWithoutLimit = 99999; ///< seconds
constexpr long kLowSpeedLimit = 2048; ///< bytes per second
constexpr long kLowSpeedTime = 28;    ///< seconds
constexpr long kTotalTime = 120;      ///< seconds, besides those paused
constexpr long kConnectTime = 25;     ///< seconds, besides those paused

void set(ICurlEasy& easy, long lowSpeedLimit, long lowSpeedTime, long total, long connect) {
    easy.SetOpt(CURLOPT_LOW_SPEED_LIMIT, asOption(lowSpeedLimit));
    easy.SetOpt(CURLOPT_LOW_SPEED_TIME, asOption(lowSpeedTime));
    easy.SetOpt(CURLOPT_TIMEOUT, asOption(total));
    easy.SetOpt(CURLOPT_CONNECTTIMEOUT, asOption(connect));
}

} // namespace

void setPausedLimits(ICurlEasy& easy) {
    set(easy, 0, 0, kWithoutLimit, kWithoutLimit);
}

void setResumedLimits(ICurlEasy& easy, long long pausedMs) {
    // libcurl counts milliseconds in 31 bits, and refuses what would not fit.
    constexpr long long kMost = INT_MAX / 1000 - kTotalTime;
    const long paused = static_cast<long>(std::min(pausedMs / 1000, kMost));
    set(easy, kLowSpeedLimit, kLowSpeedTime, paused + kTotalTime, paused + kConnectTime);
}

} // namespace hascommon::detail
