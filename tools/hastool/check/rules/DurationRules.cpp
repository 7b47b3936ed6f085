#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

/// How far declared and measured durations may be from each other, in seconds: a frame, and what
/// rounding takes.
double toleranceFor(const SegmentLook& look, const StreamFacts& stream) {
    constexpr double kRounded = 0.1;
    constexpr double kWhole = 0.6; // a number without decimals is often rounded
    const double declared = look.segment.seconds;
    const bool isWhole =
        look.evidence.format == CheckedFormat::Hls && declared == std::floor(declared);
    return (isWhole ? kWhole : kRounded) + stream.frameSeconds;
}

bool isMedia(const StreamFacts& stream) {
    return stream.seconds > 0 &&
           (stream.kind == StreamFacts::Kind::Video || stream.kind == StreamFacts::Kind::Audio);
}

/// The stream whose length comes nearest to the declared one: segments are as long as their video
/// or as their audio. Null without media.
const StreamFacts* nearestOf(const CheckedSegment& segment) {
    const StreamFacts* nearest = nullptr;
    for (const StreamFacts& it : segment.facts.streams) {
        if (isMedia(it) && (nearest == nullptr || std::abs(it.seconds - segment.seconds) <
                                                      std::abs(nearest->seconds - segment.seconds)))
            nearest = &it;
    }
    return nearest;
}

/// Whether a segment's duration is not what the manifest says.
bool isOff(const SegmentLook& look) {
    const StreamFacts* const nearest = nearestOf(look.segment);
    const bool isJudged = !look.rendition.isTrick && look.segment.seconds > 0 &&
                          hasExactTimes(look.evidence, look.rendition);
    return isJudged && nearest != nullptr &&
           std::abs(nearest->seconds - look.segment.seconds) > toleranceFor(look, *nearest);
}

constexpr RuleCard kDuration = {
    "media-duration", Severity::Warning,
    "RFC 8216, 4.3.2.1; ISO/IEC 23009-1, 5.3.9.6; [MS-SSTR] 2.2.2.6",
    "A segment is longer or shorter than the manifest says",
    "Seeking ends in the wrong place, the time that is shown is wrong, and buffers are misjudged. "
    "Declare what the segment's frames add up to."};

class SegmentDuration : public SegmentRule {
public:
    SegmentDuration()
        : SegmentRule(kDuration) {}

protected:
    void look(const SegmentLook& look) const override {
        if (isOff(look))
            look.add("it lasts " + exactSeconds(nearestOf(look.segment)->seconds) +
                     ", declared is " + exactSeconds(look.segment.seconds));
    }
};

constexpr RuleCard kDrift = {
    "media-duration-drift", Severity::Warning, "RFC 8216, 4.3.2.1; ISO/IEC 23009-1, 5.3.9.6",
    "The declared durations add up to another length than the media has",
    "The further a viewer seeks, the further off the place is. Declare durations with decimals, "
    "and round so that errors do not add up."};

class DurationDrift : public RenditionRule {
public:
    DurationDrift()
        : RenditionRule(kDrift) {}

protected:
    void look(const RenditionLook& look) const override {
        constexpr double kMost = 1; // seconds
        if (look.evidence.isLive || look.rendition.isTrick || !look.rendition.isWhole() ||
            !hasExactTimes(look.evidence, look.rendition))
            return;
        double declared = 0;
        double frame = 0;
        std::optional<StreamFacts::Kind> kind;
        for (const CheckedSegment& it : look.rendition.segments) {
            const StreamFacts* const leading = isRead(it) ? it.facts.leading() : nullptr;
            if (leading == nullptr || !isMedia(*leading) || isOff(SegmentLook{look, it}) ||
                leading->kind != kind.value_or(leading->kind))
                return;
            kind = leading->kind;
            declared += it.seconds;
            frame = std::max(frame, leading->frameSeconds);
        }
        const auto measured = kind ? lengthOf(look.rendition, *kind) : std::nullopt;
        if (measured && std::abs(*measured - declared) > kMost + frame)
            look.add("the media lasts " + exactSeconds(*measured) + ", declared are " +
                     exactSeconds(declared));
    }
};

constexpr RuleCard kLength = {
    "media-presentation-length", Severity::Warning, "ISO/IEC 23009-1, 5.3.1.2; [MS-SSTR] 2.2.2.1",
    "The media ends elsewhere than the manifest says",
    "A player waits at the end for media that does not come, or leaves out the end. Declare what "
    "the longest representation has."};

/// When the last segment of a rendition ends, by the presentation's time.
std::optional<double> endOf(const CheckedRendition& rendition) {
    if (rendition.isTrick || rendition.kind == CheckedRendition::Kind::Text ||
        rendition.segments.empty() || !isRead(rendition.segments.back()))
        return std::nullopt;
    const CheckedSegment& last = rendition.segments.back();
    const StreamFacts* const leading = last.facts.leading();
    if (leading == nullptr || !isMedia(*leading))
        return std::nullopt;
    return last.start + leading->seconds;
}

class PresentationLength : public Rule {
public:
    const RuleCard& card() const override { return kLength; }

    void check(const Evidence& evidence, Findings& findings) const override {
        if (evidence.isLive || evidence.format == CheckedFormat::Hls || !evidence.duration)
            return;
        double end = 0;
        double longest = 0;
        for (const CheckedRendition& it : evidence.renditions) {
            const auto its = endOf(it);
            if (!its && it.kind != CheckedRendition::Kind::Text && !it.isTrick)
                return; // it may be the longest
            end = std::max(end, its.value_or(0));
            if (!it.segments.empty())
                longest = std::max(longest, it.segments.back().seconds);
        }
        // A period may end inside its last segment.
        const double missing = *evidence.duration - end;
        const bool isElsewhere =
            missing > std::max(0.5, 0.5 * longest) || -missing > std::max(0.5, longest);
        if (end > 0 && isElsewhere)
            findings.add(kLength, {"", "", evidence.url},
                         "the media ends at " + exactSeconds(end) + ", declared is " +
                             exactSeconds(*evidence.duration));
    }
};

} // namespace

void addDurationRules(Rules& rules) {
    rules.push_back(std::make_unique<SegmentDuration>());
    rules.push_back(std::make_unique<DurationDrift>());
    rules.push_back(std::make_unique<PresentationLength>());
}

} // namespace hastool
