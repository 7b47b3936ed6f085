#include "PresentationInfo.h"

#include <algorithm>

namespace hastool {

void InfoLengths::add(double seconds) {
    shortest = count == 0 ? seconds : std::min(shortest, seconds);
    longest = std::max(longest, seconds);
    sum += seconds;
    ++count;
}

size_t PresentationInfo::failures() const {
    size_t count = errors.size();
    for (const InfoPeriod& period : periods) {
        for (const InfoTrack& track : period.tracks)
            count += static_cast<size_t>(
                std::count_if(track.streams.begin(), track.streams.end(),
                              [](const InfoStream& it) { return !it.error.empty(); }));
    }
    return count;
}

void addProtection(std::vector<InfoProtection>& all, const InfoProtection& next) {
    const auto same = std::find_if(all.begin(), all.end(), [&](const InfoProtection& it) {
        return it.system == next.system && it.scheme == next.scheme && it.value == next.value;
    });
    if (same == all.end()) {
        all.push_back(next);
        return;
    }
    for (const std::string& id : next.keyIds) {
        if (std::find(same->keyIds.begin(), same->keyIds.end(), id) == same->keyIds.end())
            same->keyIds.push_back(id);
    }
}

void sortStreams(InfoTrack& track) {
    std::stable_sort(track.streams.begin(), track.streams.end(),
                     [](const InfoStream& left, const InfoStream& right) {
                         return left.bitrate < right.bitrate;
                     });
}

} // namespace hastool
