#include "PlayTrack.h"

#include <utility>

namespace hastool {

PlayTrack::PlayTrack(size_t itsNumber, const TrackInfo& itsInfo,
                     std::unique_ptr<MediaWriter> itsWriter)
    : number(itsNumber)
    , info(itsInfo)
    , isBroken(itsInfo.streams.size(), false)
    , renditions(itsInfo.streams)
    , writer(std::move(itsWriter)) {}

void PlayTrack::startAt(int maxBitrate) {
    for (size_t i = 0; i < info.streams.size(); ++i) {
        if (info.streams[i].bitrate <= maxBitrate)
            stream = i;
    }
    lastGoodStream = stream;
}

std::string trackOutput(const std::string& output, const TrackInfo& info) {
    if (output.empty() || !info.isAudio)
        return output;
    const size_t slash = output.rfind('/');
    const size_t name = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = output.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > name;
    std::string result = output;
    return result.insert(hasExtension ? dot : output.size(), ".audio");
}

} // namespace hastool
