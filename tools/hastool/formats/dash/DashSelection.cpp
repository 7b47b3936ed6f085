#include "DashSelection.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace hastool {
namespace {

bool namesAny(const std::string& codecs, std::initializer_list<const char*> kinds) {
    return std::any_of(kinds.begin(), kinds.end(),
                       [&](const char* kind) { return codecs.find(kind) != std::string::npos; });
}

using Sets = std::vector<const DashAdaptationSet*>;

Sets setsOf(const DashPeriod& period, const std::string& type) {
    Sets sets;
    for (const DashAdaptationSet& set : period.sets) {
        if (set.contentType == type && !set.isTrick)
            sets.push_back(&set);
    }
    return sets;
}

std::vector<RenditionLabel> labelsOf(const Sets& sets) {
    std::vector<RenditionLabel> labels;
    for (const DashAdaptationSet* const set : sets)
        labels.push_back({set->language, set->names, set->isMain ? 1 : 0});
    return labels;
}

const DashAdaptationSet* findWanted(const Sets& sets, const std::string& wanted) {
    const auto found = findRendition(wanted, labelsOf(sets));
    return found ? sets[*found] : nullptr;
}

/// The one that is wanted; else the first whose role is main, or the first.
const DashAdaptationSet* findSet(const DashPeriod& period, const char* type,
                                 const std::string& wanted) {
    if (wanted == kNoRendition)
        return nullptr;
    const Sets sets = setsOf(period, type);
    if (const DashAdaptationSet* const set = findWanted(sets, wanted))
        return set;
    const auto main = std::find_if(sets.begin(), sets.end(),
                                   [](const DashAdaptationSet* it) { return it->isMain; });
    if (main != sets.end())
        return *main;
    return sets.empty() ? nullptr : sets.front();
}

/// The set of the main track: of video, else of audio, else of unknown content.
const DashAdaptationSet* findMainSet(const DashPeriod& period, const RenditionChoice& choice) {
    const std::string any;
    const std::pair<const char*, const std::string&> types[] = {
        {"video", choice.video}, {"audio", choice.audio}, {"", any}};
    for (const auto& [type, wanted] : types) {
        if (const DashAdaptationSet* const set = findSet(period, type, wanted))
            return set;
    }
    return nullptr;
}

} // namespace

const DashAdaptationSet* selectSet(const DashPeriod& period, TrackKind kind,
                                   const RenditionChoice& choice) {
    if (kind == TrackKind::Text)
        return choice.subtitles == kNoRendition
                   ? nullptr
                   : findWanted(setsOf(period, "text"), choice.subtitles);
    const DashAdaptationSet* const main = findMainSet(period, choice);
    if (kind == TrackKind::Main)
        return main;
    const DashAdaptationSet* const audio = findSet(period, "audio", choice.audio);
    return audio == main ? nullptr : audio;
}

void expectWanted(const std::vector<DashPeriod>& periods, const RenditionChoice& choice) {
    const std::tuple<const char*, const char*, const std::string&> wishes[] = {
        {"video", "--video", choice.video},
        {"audio", "--audio", choice.audio},
        {"text", "--subtitles", choice.subtitles}};
    for (const auto& [type, option, wanted] : wishes) {
        if (wanted.empty() || wanted == kNoRendition)
            continue;
        Sets all;
        for (const DashPeriod& period : periods) {
            const Sets sets = setsOf(period, type);
            all.insert(all.end(), sets.begin(), sets.end());
        }
        if (findWanted(all, wanted) == nullptr)
            throw noSuchRendition(option, wanted, labelsOf(all));
    }
}

std::vector<const DashRepresentation*>
selectRepresentations(const DashPeriod& period, TrackKind kind, const RenditionChoice& choice) {
    const DashAdaptationSet* const set = selectSet(period, kind, choice);
    if (set == nullptr)
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
