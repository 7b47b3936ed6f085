#include "PlayTrack.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace hastool {

PlayTrack::PlayTrack(size_t itsNumber, const TrackInfo& itsInfo,
                     std::unique_ptr<MediaWriter> itsWriter)
    : number(itsNumber)
    , info(itsInfo)
    , isBroken(itsInfo.streams.size(), false)
    , renditions(itsInfo.streams)
    , writer(std::move(itsWriter)) {
    ladder.resize(info.streams.size());
    std::iota(ladder.begin(), ladder.end(), size_t{0});
}

bool PlayTrack::allow(const std::vector<std::pair<int, int>>& ranges) {
    const auto isAllowed = [&](int bitrate) {
        return ranges.empty() || bitrate == 0 ||
               std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
                   return range.first <= bitrate && bitrate <= range.second;
               });
    };
    const auto end = std::remove_if(ladder.begin(), ladder.end(), [&](size_t index) {
        return !isAllowed(info.streams[index].bitrate);
    });
    ladder.erase(end, ladder.end());
    return !ladder.empty();
}

void PlayTrack::startAt(int maxBitrate) {
    stream = ladder.front();
    for (const size_t index : ladder) {
        if (info.streams[index].bitrate <= maxBitrate)
            stream = index;
    }
    lastGoodStream = stream;
}

int PlayTrack::bitrate() const {
    const int declared = info.streams[stream].bitrate;
    if (declared > 0 || mediaSeconds <= 0)
        return declared;
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(kMost, static_cast<double>(bytes) * 8 / mediaSeconds));
}

std::optional<size_t> PlayTrack::fallback() const {
    if (hasGoodStream)
        return lastGoodStream == stream || isBroken[lastGoodStream] ? std::nullopt
                                                                    : std::optional(lastGoodStream);
    std::optional<size_t> best; // the nearest one below, else the nearest above
    for (const size_t index : ladder) {
        const bool isNearer = index < stream || !best;
        if (!isBroken[index] && isNearer)
            best = index;
    }
    return best;
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
