#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

using Kind = SegmentFacts::Kind;

constexpr RuleCard kUnreadable = {
    "media-unreadable", Severity::Error, "RFC 8216, 3; ISO/IEC 23009-1, 6", "A segment is no media",
    "Players stop here or skip the segment. Servers that answer 200 with an error page, and "
    "packagers that leave empty files behind, are what causes it most."};

/// Looks at segments that were had, whatever they are.
class UnreadableMedia : public RenditionRule {
public:
    UnreadableMedia()
        : RenditionRule(kUnreadable) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& it : look.rendition.segments) {
            // A server that sends pages is told of elsewhere.
            const bool isPage = it.facts.kind == Kind::Html && !it.answer.isLocal;
            if (it.isFetched && it.answer.ok && it.decryptTrouble.empty() && !it.isEncrypted &&
                !it.facts.trouble.empty() && !it.facts.looksRandom && !isPage)
                SegmentLook{look, it}.add(it.facts.trouble);
        }
    }
};

constexpr RuleCard kLooksEncrypted = {
    "media-looks-encrypted", Severity::Error, "RFC 8216, 4.3.2.4",
    "A segment looks encrypted, and the manifest does not say so",
    "Players try to read the cipher text as media and fail. The playlist needs the EXT-X-KEY with "
    "which the packager encrypted, before this segment."};

class LooksEncrypted : public RenditionRule {
public:
    LooksEncrypted()
        : RenditionRule(kLooksEncrypted) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& it : look.rendition.segments) {
            if (it.isFetched && it.answer.ok && !it.isEncrypted && it.facts.looksRandom)
                SegmentLook{look, it}.add("its bytes are spread like those of a cipher text");
        }
    }
};

constexpr RuleCard kFormatChange = {
    "media-format-change", Severity::Error, "RFC 8216, 4.3.2.3",
    "The container changes where no discontinuity is announced",
    "Players keep the reader that the first segment needed and fail. Keep to one container, or "
    "announce the change with EXT-X-DISCONTINUITY."};

const char* nameOf(Kind kind) {
    switch (kind) {
    case Kind::TransportStream:
        return "a transport stream";
    case Kind::Fragments:
        return "MP4";
    case Kind::PackedAudio:
        return "packed audio";
    default:
        return "text";
    }
}

class FormatChange : public PairRule {
public:
    FormatChange()
        : PairRule(kFormatChange) {}

protected:
    void look(const PairLook& look) const override {
        const Kind before = look.before.facts.kind;
        if (before != look.facts().kind)
            look.add(std::string("it is ") + nameOf(look.facts().kind) +
                     ", the segment before is " + nameOf(before));
    }
};

/// How far a stream begins behind the end that it had in the segment before, in seconds; nothing
/// where that is not known, and for subtitles, which have gaps.
std::optional<double> gapOf(const PairLook& look, const StreamFacts& stream) {
    const StreamFacts* const before = look.earlier(stream);
    const bool isMedia =
        stream.kind == StreamFacts::Kind::Video || stream.kind == StreamFacts::Kind::Audio;
    if (!isMedia || before == nullptr || before->seconds <= 0 || !before->decodeStart ||
        !stream.decodeStart || before->kind != stream.kind)
        return std::nullopt;
    return look.step(*before->decodeStart, *stream.decodeStart) - before->seconds;
}

constexpr double kJump = 1; // seconds; more is no gap but another time

std::string gapText(const StreamFacts& stream, double gap) {
    const std::string kind = stream.kind == StreamFacts::Kind::Video ? "video" : "audio";
    return kind + (gap > 0 ? " begins " : " overlaps by ") + exactSeconds(std::abs(gap)) +
           (gap > 0 ? " after" : "") + (gap > 0 ? " the end of the segment before" : "");
}

constexpr RuleCard kJumpCard = {
    "media-timestamp-jump", Severity::Error, "RFC 8216, 4.3.2.3; ISO/IEC 14496-12, 8.8.12",
    "Timestamps jump where no discontinuity is announced",
    "Players stall, skip, or show the wrong part. Where two recordings meet there has to be "
    "EXT-X-DISCONTINUITY in HLS, a new Period in DASH; else the packager has lost its clock."};

class TimestampJump : public PairRule {
public:
    TimestampJump()
        : PairRule(kJumpCard) {}

protected:
    void look(const PairLook& look) const override {
        for (const StreamFacts& stream : look.facts().streams) {
            const auto gap = gapOf(look, stream);
            if (gap && std::abs(*gap) > kJump) {
                look.add(gapText(stream, *gap));
                return; // the others jump with it
            }
        }
    }
};

constexpr RuleCard kGapCard = {
    "media-segment-gap", Severity::Warning, "RFC 8216, 3; ISO/IEC 23009-1, 7.2.1",
    "A segment does not begin where the one before it ends",
    "Viewers see a frozen picture or hear a click; some players stop at a gap in their buffer. "
    "The packager has lost frames, or cut the same frames into two segments."};

class SegmentGap : public PairRule {
public:
    SegmentGap()
        : PairRule(kGapCard) {}

protected:
    void look(const PairLook& look) const override {
        constexpr double kLeast = 0.05; // seconds
        for (const StreamFacts& stream : look.facts().streams) {
            const auto gap = gapOf(look, stream);
            const StreamFacts* const before = look.earlier(stream);
            const double frame =
                std::max(stream.frameSeconds, before != nullptr ? before->frameSeconds : 0);
            const double tolerance = std::max(kLeast, 2.5 * frame);
            if (gap && std::abs(*gap) > tolerance && std::abs(*gap) <= kJump)
                look.add(gapText(stream, *gap));
        }
    }
};

} // namespace

void addMediaRules(Rules& rules) {
    rules.push_back(std::make_unique<UnreadableMedia>());
    rules.push_back(std::make_unique<LooksEncrypted>());
    rules.push_back(std::make_unique<FormatChange>());
    rules.push_back(std::make_unique<TimestampJump>());
    rules.push_back(std::make_unique<SegmentGap>());
}

} // namespace hastool
