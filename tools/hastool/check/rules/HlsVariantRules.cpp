// The media playlists of a master playlist against each other.
#include <hastool/base/Quantities.h>
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

using Kind = CheckedRendition::Kind;

/// A rendition by the last playlist of it that can be used.
struct Last {
    const CheckedRendition* rendition = nullptr;
    const CheckedPlaylist* state = nullptr;
};

/// Text and key frames may have segments of their own.
bool isMedia(const CheckedRendition& rendition) {
    return !rendition.isTrick && (rendition.kind == Kind::Video || rendition.kind == Kind::Audio);
}

std::vector<Last> lastOf(const Evidence& evidence) {
    std::vector<Last> all;
    for (const CheckedRendition& rendition : evidence.renditions) {
        const auto& states = rendition.playlists;
        const auto found =
            std::find_if(states.rbegin(), states.rend(), [](const CheckedPlaylist& it) {
                return it.answer.ok && it.trouble.empty();
            });
        if (isMedia(rendition) && found != states.rend())
            all.push_back({&rendition, &*found});
    }
    return all;
}

/// A rule that compares playlists with the first one.
class AcrossRule : public Rule {
public:
    void check(const Evidence& evidence, Findings& findings) const final {
        if (evidence.format != CheckedFormat::Hls || !evidence.hasMaster)
            return;
        const std::vector<Last> all = lastOf(evidence);
        for (size_t i = 1; i < all.size(); ++i) {
            const std::string text = judge(all[0], all[i]);
            if (text.empty())
                continue;
            FindingPlace place;
            place.rendition = all[i].rendition->name;
            place.where = all[i].rendition->url;
            findings.add(card(), std::move(place), text);
        }
    }

private:
    /// What is wrong with one against the first; empty where nothing is.
    virtual std::string judge(const Last& first, const Last& other) const = 0;
};

std::string against(const std::string& value, const Last& first, const std::string& firstValue) {
    return value + ", that of " + first.rendition->name + " has " + firstValue;
}

class TargetsDiffer : public AcrossRule {
public:
    static constexpr RuleCard kCard = {
        "hls-target-durations-differ", Severity::Warning, "RFC 8216, 6.2.4",
        "Playlists of one presentation have different target durations",
        "Players reload the playlists at different times, and run dry where they change between "
        "them. All variants and renditions but subtitles and key frames have the same target "
        "duration."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const Last& first, const Last& other) const override {
        const double one = first.state->playlist.targetSeconds;
        const double two = other.state->playlist.targetSeconds;
        if (one <= 0 || two <= 0 || std::abs(one - two) < 0.001)
            return "";
        return against(exactSeconds(two), first, exactSeconds(one));
    }
};

class TypesDiffer : public AcrossRule {
public:
    static constexpr RuleCard kCard = {
        "hls-playlist-types-differ", Severity::Warning, "RFC 8216, 6.2.4",
        "Playlists of one presentation have different types",
        "Players go back in the one and cannot in the other. Where one playlist says an "
        "#EXT-X-PLAYLIST-TYPE, all say the same."};
    const RuleCard& card() const override { return kCard; }

private:
    static std::string typeOf(const Last& last) {
        const HlsLine* const line = last.state->lines->find("EXT-X-PLAYLIST-TYPE");
        return line == nullptr ? "no type" : std::string(line->value.substr(0, 40));
    }

    std::string judge(const Last& first, const Last& other) const override {
        if (!first.state->lines || !other.state->lines || typeOf(first) == typeOf(other))
            return "";
        return against(typeOf(other), first, typeOf(first));
    }
};

class EndsDiffer : public AcrossRule {
public:
    static constexpr RuleCard kCard = {"hls-ends-differ", Severity::Warning,
                                       "RFC 8216, 6.2.1 and 6.2.4",
                                       "One playlist has ended, another has not",
                                       "Whether the presentation is over depends on the variant: "
                                       "players wait for ever, or stop too "
                                       "early. All playlists get their #EXT-X-ENDLIST."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const Last& first, const Last& other) const override {
        const bool isFirst = first.state->playlist.ended;
        if (isFirst == other.state->playlist.ended)
            return "";
        const Last& open = isFirst ? other : first;
        const Last& over = isFirst ? first : other;
        // A presentation may end while its playlists are loaded one after the other.
        const double most = 1.5 * open.state->playlist.targetSeconds;
        const bool isKnown =
            open.rendition->playlists.size() == 1 ||
            open.state->answer.begun - over.rendition->playlists.front().answer.begun > most;
        if (!isKnown)
            return "";
        return isFirst ? "it has no end, that of " + first.rendition->name + " has one"
                       : "it has ended, that of " + first.rendition->name + " has not";
    }
};

class LengthsDiffer : public AcrossRule {
public:
    static constexpr RuleCard kCard = {
        "hls-lengths-differ", Severity::Warning, "RFC 8216, 6.2.4",
        "Variants end at different times",
        "Players that change between them jump, or find no more media before the end. All variants "
        "present the same content."};
    const RuleCard& card() const override { return kCard; }

private:
    using Segments = std::vector<HlsSegment>;

    /// Whether all segments begin at the same times; what else differs is a matter of alignment.
    static bool beginAlike(const Segments& one, const Segments& two) {
        constexpr double kSame = 0.1; // seconds
        double shift = 0;
        bool isAlike = !one.empty() && one.size() == two.size();
        for (size_t i = 0; isAlike && i + 1 < one.size(); ++i) {
            shift += one[i].seconds - two[i].seconds;
            isAlike = std::abs(shift) <= kSame;
        }
        return isAlike;
    }

    std::string judge(const Last& first, const Last& other) const override {
        const HlsPlaylist& one = first.state->playlist;
        const HlsPlaylist& two = other.state->playlist;
        if (!one.ended || !two.ended || first.rendition->kind != other.rendition->kind ||
            !beginAlike(one.segments, two.segments))
            return "";
        const double most = std::max(0.5, one.targetSeconds / 2);
        const double left = one.segments.back().seconds;
        const double right = two.segments.back().seconds;
        if (std::abs(left - right) <= most)
            return "";
        return "the last segment takes " +
               against(exactSeconds(right), first, "one of " + exactSeconds(left));
    }
};

class SequencesDiffer : public AcrossRule {
public:
    static constexpr RuleCard kCard = {
        "hls-sequences-differ", Severity::Note, "RFC 8216, 6.2.4 and 6.3.3",
        "Live playlists number the same time in different ways",
        "That is allowed; yet some players find their place in another variant by the media "
        "sequence number, and jump. Packagers best number all variants alike."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const Last& first, const Last& other) const override {
        constexpr uint64_t kMost = 3; // playlists are not loaded all at once
        const HlsPlaylist& one = first.state->playlist;
        const HlsPlaylist& two = other.state->playlist;
        const double between = std::abs(first.state->answer.begun - other.state->answer.begun);
        if (one.ended || two.ended || between > std::max(one.targetSeconds, 1.0))
            return "";
        const uint64_t low = std::min(one.mediaSequence, two.mediaSequence);
        const uint64_t high = std::max(one.mediaSequence, two.mediaSequence);
        const uint64_t more = std::max(one.segments.size(), two.segments.size()) -
                              std::min(one.segments.size(), two.segments.size());
        if (high - low <= more || high - low - more <= kMost)
            return "";
        return against("it begins with " + std::to_string(two.mediaSequence), first,
                       std::to_string(one.mediaSequence));
    }
};

} // namespace

void addHlsVariantRules(Rules& rules) {
    rules.push_back(std::make_unique<TargetsDiffer>());
    rules.push_back(std::make_unique<TypesDiffer>());
    rules.push_back(std::make_unique<EndsDiffer>());
    rules.push_back(std::make_unique<LengthsDiffer>());
    rules.push_back(std::make_unique<SequencesDiffer>());
}

} // namespace hastool
