#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <vector>

namespace hastool {
namespace {

using Kind = CheckedRendition::Kind;
using Group = std::vector<const CheckedRendition*>;

constexpr double kSame = 0.1;    // seconds
constexpr double kRounded = 0.5; // in HLS, where times are sums of rounded durations

/// Renditions that can be switched between, with segments.
std::vector<Group> groupsOf(const Evidence& evidence) {
    std::map<std::tuple<size_t, size_t, Kind>, Group> groups;
    for (const CheckedRendition& it : evidence.renditions) {
        if (!it.isTrick && it.kind != Kind::Text && it.kind != Kind::Other && !it.segments.empty())
            groups[{it.period, it.set, it.kind}].push_back(&it);
    }
    std::vector<Group> result;
    for (auto& [key, group] : groups) {
        if (group.size() > 1)
            result.push_back(std::move(group));
    }
    return result;
}

FindingPlace placeIn(const CheckedRendition& rendition, const CheckedSegment& segment) {
    return {rendition.name, segment.name, placeOf(segment.answer)};
}

FindingPlace placeIn(const CheckedRendition& rendition) {
    return {rendition.name, "", rendition.url};
}

/// Looks at each rendition beside the first of those that it can be switched with.
class GroupRule : public Rule {
public:
    explicit GroupRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const final { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const final {
        for (const Group& group : groupsOf(evidence)) {
            for (size_t i = 1; i < group.size(); ++i)
                compare(evidence, *group.front(), *group[i], findings);
        }
    }

protected:
    virtual void compare(const Evidence& evidence, const CheckedRendition& first,
                         const CheckedRendition& other, Findings& findings) const = 0;

private:
    const RuleCard& m_card;
};

constexpr RuleCard kCount = {
    "align-segment-count", Severity::Warning, "RFC 8216, 6.2.4; ISO/IEC 23009-1, 5.3.3.2",
    "Renditions that belong together have different numbers of segments",
    "A player that switches by the number of a segment comes out elsewhere. Cut all renditions at "
    "the same places."};

class SegmentCount : public GroupRule {
public:
    SegmentCount()
        : GroupRule(kCount) {}

protected:
    void compare(const Evidence& evidence, const CheckedRendition& first,
                 const CheckedRendition& other, Findings& findings) const override {
        if (!evidence.isLive && first.segments.size() != other.segments.size())
            findings.add(kCount, placeIn(other),
                         std::to_string(other.segments.size()) + " segments, " + first.name +
                             " has " + std::to_string(first.segments.size()));
    }
};

constexpr RuleCard kBoundary = {
    "align-segments", Severity::Warning, "RFC 8216, 6.2.4; ISO/IEC 23009-1, 5.3.3.2",
    "Segments of renditions that belong together begin at different times",
    "To switch, players have to fetch the same stretch twice, or show a jump. Cut all renditions "
    "at the same places."};

class SegmentBoundaries : public GroupRule {
public:
    SegmentBoundaries()
        : GroupRule(kBoundary) {}

protected:
    void compare(const Evidence& evidence, const CheckedRendition& first,
                 const CheckedRendition& other, Findings& findings) const override {
        if (evidence.isLive || first.segments.size() != other.segments.size())
            return;
        const double most = evidence.format == CheckedFormat::Hls ? kRounded : kSame;
        for (size_t i = 0; i < first.segments.size(); ++i) {
            const double shift = other.segments[i].start - first.segments[i].start;
            if (std::abs(shift) <= most)
                continue;
            findings.add(kBoundary, placeIn(other, other.segments[i]),
                         "it begins at " + exactSeconds(other.segments[i].start) + ", that of " +
                             first.name + " at " + exactSeconds(first.segments[i].start));
            return; // those that follow are shifted with it
        }
    }
};

constexpr RuleCard kTimestamps = {
    "align-timestamps", Severity::Error, "RFC 8216, 6.2.4",
    "The same stretch has different timestamps in two renditions",
    "At a switch players show a jump, stall, or lose lip sync. All renditions have to come from "
    "one clock."};

/// The begin of a segment's media, by its own clock.
std::optional<double> beginOf(const CheckedSegment& segment) {
    const StreamFacts* const leading = isRead(segment) ? segment.facts.leading() : nullptr;
    return leading != nullptr ? leading->start : std::nullopt;
}

class Timestamps : public GroupRule {
public:
    Timestamps()
        : GroupRule(kTimestamps) {}

protected:
    /// In DASH and Smooth Streaming the manifest places segments, which is looked at elsewhere.
    void compare(const Evidence& evidence, const CheckedRendition& first,
                 const CheckedRendition& other, Findings& findings) const override {
        if (evidence.format != CheckedFormat::Hls)
            return;
        std::map<uint64_t, const CheckedSegment*> byNumber;
        for (const CheckedSegment& it : first.segments)
            byNumber[it.number] = &it;
        for (const CheckedSegment& it : other.segments) {
            const auto peer = byNumber.find(it.number);
            const auto here = beginOf(it);
            const auto there = peer != byNumber.end() ? beginOf(*peer->second) : std::nullopt;
            if (!here || !there || !isComparable(evidence, it, *peer->second))
                continue;
            const double shift = std::remainder(*here - *there, kTransportClockPeriod);
            const double tolerance = kSame + 2 * it.facts.leading()->frameSeconds;
            if (std::abs(shift) <= tolerance)
                continue;
            findings.add(kTimestamps, placeIn(other, it),
                         "its media begins at " + exactSeconds(*here) + ", that of " + first.name +
                             " at " + exactSeconds(*there));
            return;
        }
    }

private:
    /// Whether two segments are of the same stretch: of a live one that is not known, of which
    /// numbers need not agree.
    static bool isComparable(const Evidence& evidence, const CheckedSegment& a,
                             const CheckedSegment& b) {
        return !evidence.isLive && a.facts.kind == b.facts.kind &&
               std::abs(a.start - b.start) <= kRounded;
    }
};

constexpr RuleCard kDiscontinuity = {
    "align-discontinuities", Severity::Error, "RFC 8216, 6.2.4",
    "Renditions have their discontinuities at different places",
    "Players take stretches with the same discontinuity number for one timeline: sound and picture "
    "come from different places. Announce a break in all playlists."};

/// When the discontinuities of a playlist are; one before the first segment says nothing.
std::vector<double> breaksOf(const CheckedRendition& rendition) {
    std::vector<double> times;
    for (size_t i = 1; i < rendition.segments.size(); ++i) {
        if (rendition.segments[i].discontinuity)
            times.push_back(rendition.segments[i].start);
    }
    return times;
}

class Discontinuities : public Rule {
public:
    const RuleCard& card() const override { return kDiscontinuity; }

    void check(const Evidence& evidence, Findings& findings) const override {
        const CheckedRendition* first = nullptr;
        if (evidence.format != CheckedFormat::Hls || evidence.isLive)
            return;
        for (const CheckedRendition& it : evidence.renditions) {
            if (it.isTrick || it.kind == Kind::Text || it.segments.empty())
                continue;
            if (first == nullptr)
                first = &it;
            else
                compare(*first, it, findings);
        }
    }

private:
    static void compare(const CheckedRendition& first, const CheckedRendition& other,
                        Findings& findings) {
        constexpr double kNear = 1; // second; audio is not cut where video is
        const auto here = breaksOf(other);
        const auto there = breaksOf(first);
        std::string text;
        if (here.size() != there.size())
            text = std::to_string(here.size()) + " discontinuities, " + first.name + " has " +
                   std::to_string(there.size());
        for (size_t i = 0; i < here.size() && text.empty(); ++i) {
            if (std::abs(here[i] - there[i]) > kNear)
                text = "a discontinuity at " + exactSeconds(here[i]) + ", that of " + first.name +
                       " is at " + exactSeconds(there[i]);
        }
        if (!text.empty())
            findings.add(kDiscontinuity, placeIn(other), text);
    }
};

constexpr RuleCard kLengths = {
    "align-lengths", Severity::Warning, "RFC 8216, 6.2.4; ISO/IEC 23009-1, 5.3.2.1",
    "Audio and video end at different times",
    "At the end viewers see a still picture or nothing while the sound goes on, or the player "
    "waits for what does not come. Cut both at the same time."};

class Lengths : public Rule {
public:
    const RuleCard& card() const override { return kLengths; }

    void check(const Evidence& evidence, Findings& findings) const override {
        if (evidence.isLive)
            return;
        struct Period {
            const CheckedRendition* video = nullptr;
            const CheckedRendition* audio = nullptr;
        };
        std::map<size_t, Period> periods;
        for (const CheckedRendition& it : evidence.renditions) {
            if (it.isTrick || it.segments.empty())
                continue;
            Period& period = periods[it.period];
            if (it.kind == Kind::Video && period.video == nullptr)
                period.video = &it;
            if (it.kind == Kind::Audio && period.audio == nullptr)
                period.audio = &it;
            if (it.kind == Kind::Video)
                compareInside(it, findings);
        }
        for (const auto& [number, period] : periods) {
            // Elsewhere the manifest says how long both have to be.
            if (evidence.format == CheckedFormat::Hls && period.video != nullptr &&
                period.audio != nullptr)
                compareEnds(*period.video, *period.audio, findings);
        }
    }

private:
    static constexpr double kLeast = 0.5; // seconds

    static double endOf(const CheckedRendition& rendition) {
        return rendition.segments.back().start + rendition.segments.back().seconds;
    }
    /// By what is declared: of renditions that come in playlists of their own.
    static void compareEnds(const CheckedRendition& video, const CheckedRendition& audio,
                            Findings& findings) {
        const double most = std::max(kLeast, video.segments.back().seconds);
        const double more = endOf(audio) - endOf(video);
        if (std::abs(more) > most + kLeast)
            findings.add(kLengths, placeIn(audio),
                         "it ends at " + exactSeconds(endOf(audio)) + ", " + video.name + " at " +
                             exactSeconds(endOf(video)));
    }
    /// By the frames: of audio that comes with the video.
    static void compareInside(const CheckedRendition& rendition, Findings& findings) {
        const auto video = lengthOf(rendition, StreamFacts::Kind::Video);
        const auto audio = lengthOf(rendition, StreamFacts::Kind::Audio);
        if (video && audio && std::abs(*video - *audio) > 2 * kLeast)
            findings.add(kLengths, placeIn(rendition),
                         "its video lasts " + exactSeconds(*video) + ", its audio " +
                             exactSeconds(*audio));
    }
};

} // namespace

void addAlignmentRules(Rules& rules) {
    rules.push_back(std::make_unique<SegmentCount>());
    rules.push_back(std::make_unique<SegmentBoundaries>());
    rules.push_back(std::make_unique<Timestamps>());
    rules.push_back(std::make_unique<Discontinuities>());
    rules.push_back(std::make_unique<Lengths>());
}

} // namespace hastool
