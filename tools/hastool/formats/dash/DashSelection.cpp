#include "DashSelection.h"

#include <algorithm>

namespace hastool {
namespace {

bool namesAny(const std::string& codecs, std::initializer_list<const char*> kinds) {
    return std::any_of(kinds.begin(), kinds.end(),
                       [&](const char* kind) { return codecs.find(kind) != std::string::npos; });
}

const DashAdaptationSet* findSet(const DashPeriod& period, const char* type) {
    const DashAdaptationSet* best = nullptr;
    for (const DashAdaptationSet& set : period.sets) {
        if (set.contentType != type || set.isTrick)
            continue;
        if (best == nullptr || (set.isMain && !best->isMain))
            best = &set;
    }
    return best;
}

/// The set of the main track: of video, else of audio, else of unknown content.
const DashAdaptationSet* findMainSet(const DashPeriod& period) {
    for (const char* const type : {"video", "audio", ""}) {
        if (const DashAdaptationSet* const set = findSet(period, type))
            return set;
    }
    return nullptr;
}

} // namespace

std::vector<const DashRepresentation*> selectRepresentations(const DashPeriod& period,
                                                             bool isAudio) {
    const DashAdaptationSet* const main = findMainSet(period);
    const DashAdaptationSet* const set = isAudio ? findSet(period, "audio") : main;
    if (set == nullptr || (isAudio && set == main))
        return {};
    std::vector<const DashRepresentation*> result;
    for (const DashRepresentation& representation : set->representations)
        result.push_back(&representation);
    std::stable_sort(result.begin(), result.end(), [](const auto* left, const auto* right) {
        return left->bandwidth < right->bandwidth;
    });
    const auto end =
        std::unique(result.begin(), result.end(), [](const auto* left, const auto* right) {
            return left->bandwidth == right->bandwidth;
        });
    result.erase(end, result.end());
    return result;
}

const DashRepresentation*
matchBitrate(const std::vector<const DashRepresentation*>& representations, int bitrate) {
    const DashRepresentation* match = nullptr;
    for (const DashRepresentation* const it : representations) {
        if (match == nullptr || it->bandwidth <= bitrate)
            match = it;
    }
    return match;
}

bool isMultiplexed(const DashRepresentation& representation) {
    return namesAny(representation.codecs, {"mp4a", "ac-3", "ec-3", "opus"}) &&
           namesAny(representation.codecs, {"avc", "hvc", "hev", "vp0", "av01", "mp4v"});
}

} // namespace hastool
