#include <Hasnet/detail/UnitObject.h>

namespace hascommon {

void UnitObject::Prepare(const std::string& newUrl, int index, bool newKeepInfo, bool newFlag,
                         void* newUserData, long long now) HAS_NO_THREAD_SAFETY_ANALYSIS {
    constexpr int kCodeThatKeepsRetries = 10;
    if (code != kCodeThatKeepsRetries)
        retries = 0;
    code = 0;
    url = newUrl;
    infoIndex = index;
    keepInfo = newKeepInfo;
    flag = newFlag;
    userData = newUserData;
    beginner = std::this_thread::get_id();
    received = 0;
    contentLength = 0;
    httpStatus = 0;
    redirects = 0;
    beginTime = now;
    lastRxTime = now;
    latency = 0;
    resumeTime = 0;
    pauseStart = 0;
    pausedTotal = 0;
    skipBytes = 0;
    notPausable = false;
    queued = false;
    endRequested = false;
    aborted = false;
    resetMark = false;
    ++generation;
    pauseBuffer.clear();
    report = {};
    location.clear();
    hopLocation.clear();
    headerLines.clear();
    inHeaders = false;
    limitsDue = false;
    finished = false;
    transfer.Clear();
}

} // namespace hascommon
