// Playlists of HLS against their earlier states.
#include <hastool/base/Quantities.h>
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Number.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

using State = CheckedPlaylist;

bool isUsable(const State& state) {
    return state.answer.ok && state.trouble.empty();
}

/// The number behind that of the last segment.
uint64_t endOf(const State& state) {
    return state.playlist.mediaSequence + state.playlist.segments.size();
}

/// A segment that a playlist lists.
const HlsSegment& segmentAt(const State& state, uint64_t sequence) {
    return state.playlist.segments[static_cast<size_t>(sequence - state.playlist.mediaSequence)];
}

/// The numbers of the segments that two states have both; `first` is `end` where there are none.
struct Shared {
    uint64_t first = 0;
    uint64_t end = 0;
};

Shared sharedBy(const State& before, const State& now) {
    Shared shared;
    shared.first = std::max(before.playlist.mediaSequence, now.playlist.mediaSequence);
    shared.end = std::max(shared.first, std::min(endOf(before), endOf(now)));
    return shared;
}

bool goesBack(const State& before, const State& now) {
    return now.playlist.mediaSequence < before.playlist.mediaSequence;
}

/// A URI without its query, which may be another one for every viewer and reload.
std::string_view pathOf(const std::string& uri) {
    return std::string_view(uri).substr(0, uri.find('?'));
}

bool isSameFile(const HlsSegment& one, const HlsSegment& other) {
    return pathOf(one.uri) == pathOf(other.uri) && one.range == other.range;
}

/// How many segments have left the playlist without being counted; 0 where all have been counted.
uint64_t uncounted(const State& before, const State& now) {
    constexpr uint64_t kMost = 20;
    const Shared shared = sharedBy(before, now);
    for (uint64_t shift = 0; shift <= kMost && shared.first + shift < endOf(before); ++shift) {
        const uint64_t end = std::min(shared.end, endOf(before) - shift);
        const uint64_t least = shift == 0 ? 1 : 2; // one may be the same by chance
        bool isSame = shared.first < end && end - shared.first >= least;
        for (uint64_t i = shared.first; i < end && isSame; ++i)
            isSame = isSameFile(segmentAt(before, i + shift), segmentAt(now, i));
        if (isSame)
            return shift;
    }
    return 0;
}

/// What has changed of a segment; empty where nothing has.
std::string changeOf(const HlsSegment& before, const HlsSegment& now, bool isFirst) {
    constexpr double kRounding = 0.001;
    if (pathOf(before.uri) != pathOf(now.uri))
        return "it was " + uriText(before.uri) + " and is " + uriText(now.uri);
    if (!(before.range == now.range))
        return "its byte range is another one";
    if (std::abs(before.seconds - now.seconds) > kRounding)
        return "it took " + exactSeconds(before.seconds) + " and takes " +
               exactSeconds(now.seconds);
    if (!isFirst && before.discontinuity != now.discontinuity)
        return now.discontinuity ? "a discontinuity is new" : "its discontinuity is gone";
    const bool hadKey = before.key != nullptr;
    const bool hasKey = now.key != nullptr;
    if (hadKey != hasKey)
        return hasKey ? "it has become encrypted" : "it is not encrypted any more";
    if (hadKey && (before.key->method != now.key->method || before.key->iv != now.key->iv ||
                   pathOf(before.key->uri) != pathOf(now.key->uri)))
        return "it has another key";
    return "";
}

/// The first published segment that has changed; nothing where none has.
std::optional<uint64_t> firstChanged(const State& before, const State& now) {
    const Shared shared = sharedBy(before, now);
    for (uint64_t i = shared.first; i < shared.end; ++i) {
        const bool isFirst = i == now.playlist.mediaSequence;
        if (!changeOf(segmentAt(before, i), segmentAt(now, i), isFirst).empty())
            return i;
    }
    return std::nullopt;
}

double durationOf(const State& state) {
    double sum = 0;
    for (const HlsSegment& segment : state.playlist.segments)
        sum += segment.seconds;
    return sum;
}

/// The type that a playlist says; empty where it says none.
std::string_view typeOf(const State& state) {
    const HlsLine* const line = state.lines ? state.lines->find("EXT-X-PLAYLIST-TYPE") : nullptr;
    return line == nullptr ? std::string_view() : line->value;
}

std::string sequenceText(const State& before, const State& now) {
    return std::to_string(before.playlist.mediaSequence) + " and then " +
           std::to_string(now.playlist.mediaSequence);
}

FindingPlace placeOf(const CheckedRendition& rendition, const State& state) {
    FindingPlace place;
    place.rendition = rendition.name;
    place.where = state.answer.finalUrl.empty() ? rendition.url : state.answer.finalUrl;
    return place;
}

/// "12 s after the check began: ".
std::string timeText(const State& state) {
    return exactSeconds(std::round(state.answer.begun * 10) / 10) + " into the check: ";
}

/// A rule that compares every state of a playlist with the one before.
class StepRule : public Rule {
public:
    void check(const Evidence& evidence, Findings& findings) const final {
        if (evidence.format != CheckedFormat::Hls)
            return;
        for (const CheckedRendition& rendition : evidence.renditions) {
            const State* before = nullptr;
            for (const State& state : rendition.playlists) {
                if (!isUsable(state))
                    continue;
                const std::string text = before == nullptr ? "" : judge(*before, state);
                if (!text.empty())
                    findings.add(card(), placeOf(rendition, state), timeText(state) + text);
                before = &state;
            }
        }
    }

private:
    /// What is wrong with the later one; empty where nothing is.
    virtual std::string judge(const State& before, const State& now) const = 0;
};

class SequenceBack : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-sequence-back", Severity::Error, "RFC 8216, 6.2.2",
        "The media sequence number of a live playlist has gone back",
        "Players take old segments for new ones: they repeat what was seen, or stop. Often one "
        "of several servers is behind the others, or the packager has begun anew without going "
        "on from its last number."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        return goesBack(before, now) ? sequenceText(before, now) : "";
    }
};

class Uncounted : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-sequence-uncounted", Severity::Error, "RFC 8216, 6.2.2",
        "Segments have left a live playlist without being counted",
        "Players go by the numbers: they play segments twice or leave some out. "
        "#EXT-X-MEDIA-SEQUENCE grows by one for every segment that leaves the playlist."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const uint64_t count = goesBack(before, now) ? 0 : uncounted(before, now);
        return count == 0 ? ""
                          : std::to_string(count) + " more than the media sequence number, " +
                                sequenceText(before, now);
    }
};

class SegmentChanged : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-segment-changed", Severity::Error, "RFC 8216, 6.2.1",
        "A segment of a live playlist has changed after it was published",
        "Viewers see something else, depending on when their player loaded the playlist, or a "
        "jump. What is published of a segment does not change."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        if (goesBack(before, now) || uncounted(before, now) > 0)
            return "";
        const auto changed = firstChanged(before, now);
        if (!changed)
            return "";
        return "segment " + std::to_string(*changed) + ": " +
               changeOf(segmentAt(before, *changed), segmentAt(now, *changed),
                        *changed == now.playlist.mediaSequence);
    }
};

class SegmentsVanished : public StepRule {
public:
    static constexpr RuleCard kCard = {"hls-live-segments-vanished", Severity::Error,
                                       "RFC 8216, 6.2.1 and 6.2.2",
                                       "Segments have vanished from the end of a live playlist",
                                       "Players have them or wait for them. Segments leave a "
                                       "playlist at its begin, in their order. "
                                       "Often one of several servers is behind the others."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        if (goesBack(before, now) || endOf(now) >= endOf(before) || uncounted(before, now) > 0)
            return "";
        return std::to_string(endOf(before) - endOf(now)) + " of " +
               std::to_string(before.playlist.segments.size());
    }
};

class EventShrunk : public StepRule {
public:
    static constexpr RuleCard kCard = {"hls-event-shrunk", Severity::Error,
                                       "RFC 8216, 4.3.3.5 and 6.2.1",
                                       "Segments have left a playlist of type EVENT or VOD",
                                       "Viewers cannot go back to the begin, which the type "
                                       "promises. Segments are only added to an "
                                       "EVENT; a VOD does not change."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const std::string_view type = typeOf(before);
        const bool isKept = type == "EVENT" || type == "VOD";
        if (!isKept || now.playlist.mediaSequence <= before.playlist.mediaSequence)
            return "";
        return std::string(type) + ", the media sequence number was " + sequenceText(before, now);
    }
};

class TooShort : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-too-short", Severity::Error, "RFC 8216, 6.2.2",
        "A live playlist is shorter than three target durations",
        "Players that pause or load slowly find their next segment gone: playback stalls or jumps. "
        "Segments should stay in the playlist longer."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const HlsPlaylist& playlist = now.playlist;
        const bool isLeft = playlist.mediaSequence > before.playlist.mediaSequence;
        if (!isLeft || playlist.ended || !typeOf(before).empty())
            return "";
        double rounded = 0; // as the target duration is made
        for (const HlsSegment& segment : playlist.segments)
            rounded += std::round(segment.seconds);
        const double duration = durationOf(now);
        if (std::max(rounded, duration) >= 3 * playlist.targetSeconds)
            return "";
        return exactSeconds(duration) + " after segments were taken out, the target duration is " +
               exactSeconds(playlist.targetSeconds);
    }
};

class RemovedEarly : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-segments-missed", Severity::Error, "RFC 8216, 6.2.2",
        "Segments were in a live playlist for too short a time to be seen",
        "Players that reload as often as they should never learn of these segments: viewers see a "
        "jump. Segments stay in the playlist for three target durations at least."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const double between = now.answer.begun - before.answer.begun;
        const bool isSlow = between > std::max(durationOf(before), durationOf(now));
        if (isSlow || before.playlist.segments.empty() || goesBack(before, now) ||
            now.playlist.mediaSequence <= endOf(before))
            return "";
        return std::to_string(now.playlist.mediaSequence - endOf(before)) + " within " +
               exactSeconds(between);
    }
};

class DiscontinuityCount : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-discontinuity-sequence", Severity::Error, "RFC 8216, 4.3.3.3 and 6.2.2",
        "A discontinuity has left a live playlist without being counted",
        "Players that change between variants or audio put the pieces at wrong times: picture and "
        "sound run apart. #EXT-X-DISCONTINUITY-SEQUENCE grows by one for every "
        "#EXT-X-DISCONTINUITY "
        "that leaves the playlist."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const Shared shared = sharedBy(before, now);
        if (shared.first >= shared.end || goesBack(before, now) || uncounted(before, now) > 0 ||
            firstChanged(before, now))
            return "";
        const auto was = countAt(before, shared.first);
        const auto is = countAt(now, shared.first);
        if (!was || !is || *was == *is)
            return "";
        return "segment " + std::to_string(shared.first) + " stood behind " + std::to_string(*was) +
               " discontinuities, and stands behind " + std::to_string(*is);
    }

    /// The discontinuities since the stream began, up to the begin of a segment.
    static std::optional<uint64_t> countAt(const State& state, uint64_t sequence) {
        if (!state.lines)
            return std::nullopt;
        const HlsLine* const line = state.lines->find("EXT-X-DISCONTINUITY-SEQUENCE");
        auto count = line == nullptr ? std::optional<uint64_t>(0) : parseUnsigned(line->value);
        for (uint64_t i = state.playlist.mediaSequence; count && i <= sequence; ++i)
            *count += segmentAt(state, i).discontinuity ? 1 : 0;
        return count;
    }
};

class TargetChanged : public StepRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-target-changed", Severity::Warning, "RFC 8216, 6.2.1",
        "The target duration of a live playlist has changed",
        "Players that have set their reloads and buffers by it keep the old one. It should be what "
        "the longest segment of the whole stream will need."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        const double was = before.playlist.targetSeconds;
        const double is = now.playlist.targetSeconds;
        return was < is || is < was ? exactSeconds(was) + " and then " + exactSeconds(is) : "";
    }
};

class Reopened : public StepRule {
public:
    static constexpr RuleCard kCard = {"hls-live-reopened", Severity::Error, "RFC 8216, 6.2.1",
                                       "A playlist that had ended goes on",
                                       "Players that have seen #EXT-X-ENDLIST do not reload: their "
                                       "viewers miss what follows. Often "
                                       "one of several servers is behind the others."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const State& before, const State& now) const override {
        return before.playlist.ended && !now.playlist.ended ? "#EXT-X-ENDLIST is gone" : "";
    }
};

/// A rule about how long a live playlist stays as it is.
class PaceRule : public Rule {
public:
    void check(const Evidence& evidence, Findings& findings) const final {
        if (evidence.format != CheckedFormat::Hls)
            return;
        for (const CheckedRendition& rendition : evidence.renditions)
            walk(rendition, findings);
    }

private:
    /// @param times  how long nothing was new, in target durations
    virtual bool isWrong(double times) const = 0;

    void walk(const CheckedRendition& rendition, Findings& findings) const {
        const State* first = nullptr; // with what is the last segment
        const State* last = nullptr;
        for (const State& state : rendition.playlists) {
            if (!isUsable(state))
                continue;
            if (first != nullptr && (endOf(state) != endOf(*first) || state.playlist.ended)) {
                tell(rendition, *first, *last, findings);
                first = nullptr;
            }
            first = first == nullptr ? &state : first;
            last = &state;
        }
        if (first != nullptr)
            tell(rendition, *first, *last, findings);
    }

    void tell(const CheckedRendition& rendition, const State& first, const State& last,
              Findings& findings) const {
        const double since = first.answer.begun + first.answer.seconds;
        const double passed = last.answer.begun - since;
        const double target = first.playlist.targetSeconds;
        if (first.playlist.ended || target <= 0 || passed <= 0 || !isWrong(passed / target))
            return;
        findings.add(card(), placeOf(rendition, last),
                     timeText(first) + "nothing new for " + exactSeconds(passed) +
                         ", the target duration is " + exactSeconds(target));
    }
};

constexpr double kLate = 1.5; ///< target durations
constexpr double kStalled = 3;

class Stalled : public PaceRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-stalled", Severity::Error, "RFC 8216, 6.2.1", "A live playlist does not move on",
        "Viewers have seen all that there is and wait. The encoder or packager has stopped, or a "
        "cache keeps an old playlist; a stream that is over needs #EXT-X-ENDLIST."};
    const RuleCard& card() const override { return kCard; }

private:
    bool isWrong(double times) const override { return times > kStalled; }
};

class Late : public PaceRule {
public:
    static constexpr RuleCard kCard = {
        "hls-live-late", Severity::Warning, "RFC 8216, 6.2.1",
        "A segment of a live playlist came late",
        "Players near the live edge run out of media. A new segment comes one and a half target "
        "durations after the one before at the latest."};
    const RuleCard& card() const override { return kCard; }

private:
    bool isWrong(double times) const override { return times > kLate && times <= kStalled; }
};

} // namespace

void addHlsLiveRules(Rules& rules) {
    rules.push_back(std::make_unique<SequenceBack>());
    rules.push_back(std::make_unique<Uncounted>());
    rules.push_back(std::make_unique<SegmentChanged>());
    rules.push_back(std::make_unique<SegmentsVanished>());
    rules.push_back(std::make_unique<EventShrunk>());
    rules.push_back(std::make_unique<TooShort>());
    rules.push_back(std::make_unique<RemovedEarly>());
    rules.push_back(std::make_unique<DiscontinuityCount>());
    rules.push_back(std::make_unique<TargetChanged>());
    rules.push_back(std::make_unique<Reopened>());
    rules.push_back(std::make_unique<Stalled>());
    rules.push_back(std::make_unique<Late>());
}

} // namespace hastool
