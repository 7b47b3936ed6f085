// Parts of HLS segments, and what servers say of reloading.
#include <hastool/base/Quantities.h>
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

namespace hastool {
namespace {

constexpr double kRounding = 0.001; // seconds

/// Attributes of a tag that stands once at most.
struct OnceTag {
    const HlsLine* line = nullptr; ///< null where there is none
    HlsAttributeLine list;
};

OnceTag tagOf(const SeenPlaylist& playlist, std::string_view name) {
    OnceTag tag;
    tag.line = playlist.lines->find(name);
    if (tag.line != nullptr)
        tag.list = readHlsAttributeLine(tag.line->value);
    return tag;
}

std::optional<double> partTarget(const SeenPlaylist& playlist) {
    return numberOf(tagOf(playlist, "EXT-X-PART-INF").list, "PART-TARGET");
}

/// "0.9 s, the part target is 0.33 s": a distance that is too short.
std::string comparison(double seconds, const char* of, double target) {
    return exactSeconds(seconds) + ", the " + of + " is " + exactSeconds(target);
}

class PartInfMissing : public MediaRule {
public:
    static constexpr RuleCard kCard = {"hls-part-inf-missing", Severity::Error,
                                       "RFC 8216bis, 4.4.3.7",
                                       "A playlist has parts, but no part target duration",
                                       "Players do not play the parts: the latency is that of "
                                       "whole segments. #EXT-X-PART-INF with "
                                       "PART-TARGET belongs to the head of the playlist."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* const part = playlist.lines->find("EXT-X-PART");
        if (part != nullptr && !playlist.lines->has("EXT-X-PART-INF"))
            findings.add(playlist, part, "no #EXT-X-PART-INF");
    }
};

class PartTarget : public MediaRule {
public:
    static constexpr RuleCard kCard = {"hls-part-target", Severity::Error, "RFC 8216bis, 4.4.4.9",
                                       "A part is longer than the part target duration",
                                       "Players that keep as little as the target lets them run "
                                       "dry. Parts should be cut shorter, or "
                                       "PART-TARGET be the longest one."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const auto target = partTarget(playlist);
        if (!target)
            return;
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-PART")
                continue;
            const auto seconds = numberOf(readHlsAttributeLine(line.value), "DURATION");
            if (seconds && *seconds > *target + kRounding)
                findings.add(playlist, &line,
                             comparison(*seconds, "part target duration", *target));
        }
    }
};

class PartsLonger : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-parts-longer", Severity::Warning, "RFC 8216bis, 4.4.4.9",
        "The parts of a segment are longer than the segment",
        "Players that go from part to part lose their place against those that play segments. The "
        "durations of the parts add up to that of their segment."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const double tolerance = partTarget(playlist).value_or(1) / 4; // durations are rounded
        for (const SegmentLines& segment : segmentsOf(*playlist.lines)) {
            double sum = 0;
            for (const HlsLine* const tag : segment.tags) {
                if (tag->tag == "EXT-X-PART")
                    sum += numberOf(readHlsAttributeLine(tag->value), "DURATION").value_or(0);
            }
            if (segment.inf != nullptr && segment.uri != nullptr &&
                sum > segment.seconds + tolerance)
                findings.add(playlist, segment.inf,
                             comparison(sum, "segment's duration", segment.seconds));
        }
    }
};

class HoldBack : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-hold-back", Severity::Error, "RFC 8216bis, 4.4.3.8",
        "HOLD-BACK is shorter than three target durations",
        "Players that begin so near to the end stall whenever a segment comes late. HOLD-BACK is "
        "three target durations at least."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const OnceTag control = tagOf(playlist, "EXT-X-SERVER-CONTROL");
        const auto seconds = numberOf(control.list, "HOLD-BACK");
        const auto target = numberOf(*playlist.lines, "EXT-X-TARGETDURATION");
        if (seconds && target && *seconds < 3 * *target - kRounding)
            findings.add(playlist, control.line, comparison(*seconds, "target duration", *target));
    }
};

class PartHoldBackMissing : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-part-hold-back-missing", Severity::Error, "RFC 8216bis, 4.4.3.8",
        "A playlist has parts, but no PART-HOLD-BACK",
        "Players do not know how near to the end they may play, and play whole segments. "
        "#EXT-X-SERVER-CONTROL needs a PART-HOLD-BACK of three part target durations or more."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* const inf = playlist.lines->find("EXT-X-PART-INF");
        const OnceTag control = tagOf(playlist, "EXT-X-SERVER-CONTROL");
        if (inf != nullptr && !control.list.has("PART-HOLD-BACK"))
            findings.add(playlist, control.line != nullptr ? control.line : inf,
                         control.line != nullptr ? "#EXT-X-SERVER-CONTROL does not say it"
                                                 : "there is no #EXT-X-SERVER-CONTROL");
    }
};

/// A rule that compares PART-HOLD-BACK with the part target duration.
class PartHoldBackRule : public MediaRule {
protected:
    /// @param times  PART-HOLD-BACK in part target durations
    virtual bool isWrong(double times) const = 0;

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const final {
        const OnceTag control = tagOf(playlist, "EXT-X-SERVER-CONTROL");
        const auto seconds = numberOf(control.list, "PART-HOLD-BACK");
        const auto target = partTarget(playlist);
        if (seconds && target && *target > 0 && isWrong((*seconds + kRounding) / *target))
            findings.add(playlist, control.line,
                         comparison(*seconds, "part target duration", *target));
    }
};

class PartHoldBack : public PartHoldBackRule {
public:
    static constexpr RuleCard kCard = {
        "hls-part-hold-back", Severity::Error, "RFC 8216bis, 4.4.3.8",
        "PART-HOLD-BACK is shorter than two part target durations",
        "Players that begin so near to the end stall whenever a part comes late. PART-HOLD-BACK is "
        "two part target durations at least, and should be three."};
    const RuleCard& card() const override { return kCard; }

private:
    bool isWrong(double times) const override { return times < 2; }
};

class PartHoldBackShort : public PartHoldBackRule {
public:
    static constexpr RuleCard kCard = {
        "hls-part-hold-back-short", Severity::Warning, "RFC 8216bis, 4.4.3.8",
        "PART-HOLD-BACK is shorter than three part target durations",
        "Players stall on lines that vary a little. PART-HOLD-BACK should be three part target "
        "durations or more."};
    const RuleCard& card() const override { return kCard; }

private:
    bool isWrong(double times) const override { return times >= 2 && times < 3; }
};

class SkipBoundary : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-skip-boundary", Severity::Error, "RFC 8216bis, 4.4.3.8",
        "CAN-SKIP-UNTIL is shorter than six target durations, or missing",
        "Players that ask for delta updates may miss segments. CAN-SKIP-UNTIL is six target "
        "durations at least, and CAN-SKIP-DATERANGES only stands beside it."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const OnceTag control = tagOf(playlist, "EXT-X-SERVER-CONTROL");
        const auto seconds = numberOf(control.list, "CAN-SKIP-UNTIL");
        const auto target = numberOf(*playlist.lines, "EXT-X-TARGETDURATION");
        if (seconds && target && *seconds < 6 * *target - kRounding)
            findings.add(playlist, control.line, comparison(*seconds, "target duration", *target));
        else if (control.list.has("CAN-SKIP-DATERANGES") && !control.list.has("CAN-SKIP-UNTIL"))
            findings.add(playlist, control.line, "CAN-SKIP-DATERANGES without CAN-SKIP-UNTIL");
    }
};

class BlockReload : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-block-reload", Severity::Warning, "RFC 8216bis, B.1",
        "A live playlist has parts, but reloads are not held",
        "Players have to poll for every part, or play whole segments: the latency is higher than "
        "the parts would let it be. The server should support blocking reloads and say "
        "CAN-BLOCK-RELOAD=YES."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* const inf = playlist.lines->find("EXT-X-PART-INF");
        const OnceTag control = tagOf(playlist, "EXT-X-SERVER-CONTROL");
        if (inf != nullptr && control.line != nullptr && !playlist.lines->has("EXT-X-ENDLIST") &&
            control.list.get("CAN-BLOCK-RELOAD") != "YES")
            findings.add(playlist, control.line, "no CAN-BLOCK-RELOAD=YES");
    }
};

} // namespace

void addHlsPartRules(Rules& rules) {
    rules.push_back(std::make_unique<PartInfMissing>());
    rules.push_back(std::make_unique<PartTarget>());
    rules.push_back(std::make_unique<PartsLonger>());
    rules.push_back(std::make_unique<HoldBack>());
    rules.push_back(std::make_unique<PartHoldBackMissing>());
    rules.push_back(std::make_unique<PartHoldBack>());
    rules.push_back(std::make_unique<PartHoldBackShort>());
    rules.push_back(std::make_unique<SkipBoundary>());
    rules.push_back(std::make_unique<BlockReload>());
}

} // namespace hastool
