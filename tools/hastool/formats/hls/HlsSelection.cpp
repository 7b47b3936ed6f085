#include "HlsSelection.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace hastool {
namespace {

using Group = std::string HlsVariant::*;

bool hasVideo(const HlsVariant& variant) {
    static const char* const kinds[] = {"avc", "hvc", "hev", "dvh", "av01", "vp0", "mp4v"};
    return variant.codecs.empty() || !variant.resolution.empty() ||
           std::any_of(std::begin(kinds), std::end(kinds), [&](const char* kind) {
               return variant.codecs.find(kind) != std::string::npos;
           });
}

template<typename Condition>
void keepThose(std::vector<HlsVariant>& variants, const Condition& condition) {
    std::vector<HlsVariant> kept;
    for (HlsVariant& it : variants) {
        if (condition(it))
            kept.push_back(std::move(it));
    }
    variants = std::move(kept);
}

/// One per bitrate, in ascending order.
std::vector<HlsVariant> ladderOf(std::vector<HlsVariant> variants) {
    std::stable_sort(variants.begin(), variants.end(), [](const auto& left, const auto& right) {
        return left.bandwidth < right.bandwidth;
    });
    const auto end =
        std::unique(variants.begin(), variants.end(), [](const auto& left, const auto& right) {
            return left.bandwidth == right.bandwidth;
        });
    variants.erase(end, variants.end());
    return variants;
}

/// Those of a group, or where none is given those of all the variants' groups.
std::vector<HlsRendition> renditionsOf(const std::vector<HlsRendition>& all,
                                       const std::vector<HlsVariant>& variants, Group group,
                                       const std::string* only = nullptr) {
    std::vector<HlsRendition> result;
    for (const HlsRendition& it : all) {
        const bool isUsed =
            std::any_of(variants.begin(), variants.end(),
                        [&](const HlsVariant& variant) { return variant.*group == it.group; });
        if (isUsed && !it.group.empty() && (only == nullptr || it.group == *only))
            result.push_back(it);
    }
    return result;
}

std::vector<RenditionLabel> labelsOf(const std::vector<HlsRendition>& renditions) {
    std::vector<RenditionLabel> labels;
    for (const HlsRendition& it : renditions)
        labels.push_back({it.language, {it.name}, it.isForced ? 0 : it.isDefault ? 2 : 1});
    return labels;
}

/// The one that is wanted, of the first variant's group if that has it, else of another one.
std::optional<HlsRendition> findWanted(const std::string& wanted,
                                       const std::vector<HlsRendition>& all,
                                       const std::vector<HlsVariant>& variants, Group group) {
    const std::string* const first = &(variants.front().*group);
    for (const std::string* only : {first, static_cast<const std::string*>(nullptr)}) {
        const auto renditions = renditionsOf(all, variants, group, only);
        if (const auto found = findRendition(wanted, labelsOf(renditions)))
            return renditions[*found];
    }
    return std::nullopt;
}

/// The default one of a group, or its first.
std::optional<HlsRendition> findDefault(const std::vector<HlsRendition>& all,
                                        const std::string& group) {
    std::optional<HlsRendition> best;
    for (const HlsRendition& it : all) {
        const bool isMember = it.group == group && !group.empty();
        if (isMember && (!best || (it.isDefault && !best->isDefault)))
            best = it;
    }
    return best;
}

/// Makes one selection, step by step; each step may leave variants out.
class Selector {
public:
    Selector(const HlsPlaylist& playlist, const RenditionChoice& choice)
        : m_playlist(playlist)
        , m_choice(choice)
        , m_variants(playlist.variants) {}

    HlsSelection select() {
        HlsSelection result;
        selectVideo();
        result.audio = selectAudio();
        if (m_choice.video == kNoRendition && !m_hasPlainAudio)
            leaveVideoOut(result);
        result.subtitles = selectSubtitles();
        result.variants = ladderOf(std::move(m_variants));
        return result;
    }

private:
    void selectVideo();
    std::optional<HlsRendition> selectAudio();
    std::optional<HlsRendition> selectSubtitles() const;
    void leaveVideoOut(HlsSelection& result);

    const HlsPlaylist& m_playlist;
    const RenditionChoice& m_choice;
    std::vector<HlsVariant> m_variants;
    bool m_hasPlainAudio = false; ///< no video is wanted, and there are variants without
};

void Selector::selectVideo() {
    const std::string& wanted = m_choice.video;
    if (wanted == kNoRendition) {
        m_hasPlainAudio = !std::all_of(m_variants.begin(), m_variants.end(), hasVideo);
        if (m_hasPlainAudio)
            keepThose(m_variants, [](const HlsVariant& it) { return !hasVideo(it); });
        return;
    }
    if (std::any_of(m_variants.begin(), m_variants.end(), hasVideo))
        keepThose(m_variants, hasVideo);
    if (wanted.empty())
        return;
    const auto all = renditionsOf(m_playlist.video, m_variants, &HlsVariant::videoGroup);
    keepThose(m_variants, [&](HlsVariant& variant) {
        const auto members = renditionsOf(all, {variant}, &HlsVariant::videoGroup);
        const auto found = findRendition(wanted, labelsOf(members));
        if (found && !members[*found].uri.empty())
            variant.uri = members[*found].uri;
        return found.has_value();
    });
    if (m_variants.empty())
        throw noSuchRendition("--video", wanted, labelsOf(all));
}

std::optional<HlsRendition> Selector::selectAudio() {
    const std::string& wanted = m_choice.audio;
    m_variants = ladderOf(std::move(m_variants));
    std::optional<HlsRendition> chosen;
    if (wanted.empty()) {
        chosen = findDefault(m_playlist.audio, m_variants.front().audioGroup);
    } else if (wanted != kNoRendition) {
        chosen = findWanted(wanted, m_playlist.audio, m_variants, &HlsVariant::audioGroup);
        if (!chosen)
            throw noSuchRendition(
                "--audio", wanted,
                labelsOf(renditionsOf(m_playlist.audio, m_variants, &HlsVariant::audioGroup)));
        keepThose(m_variants, [&](const HlsVariant& it) { return it.audioGroup == chosen->group; });
    }
    return chosen && !chosen->uri.empty() ? chosen : std::nullopt;
}

std::optional<HlsRendition> Selector::selectSubtitles() const {
    const std::string& wanted = m_choice.subtitles;
    if (wanted.empty() || wanted == kNoRendition)
        return std::nullopt;
    std::vector<HlsRendition> all = m_playlist.subtitles;
    const auto end = std::remove_if(all.begin(), all.end(),
                                    [](const HlsRendition& it) { return it.uri.empty(); });
    all.erase(end, all.end());
    if (auto found = findWanted(wanted, all, m_variants, &HlsVariant::subtitleGroup))
        return found;
    throw noSuchRendition("--subtitles", wanted,
                          labelsOf(renditionsOf(all, m_variants, &HlsVariant::subtitleGroup)),
                          m_playlist.hasClosedCaptions ? "closed captions are in the video" : "");
}

/// The audio becomes the main track. The variants' groups are still those to choose subtitles from.
void Selector::leaveVideoOut(HlsSelection& result) {
    if (!result.audio)
        throw ToolError("--video", "none: there is no audio without video");
    m_variants.resize(1);
    HlsVariant& main = m_variants.front();
    main.bandwidth = 0;
    main.resolution.clear();
    main.uri = result.audio->uri;
    result.audio.reset();
}

} // namespace

HlsSelection selectHls(const HlsPlaylist& playlist, const RenditionChoice& choice) {
    return Selector(playlist, choice).select();
}

} // namespace hastool
