#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <map>

namespace hastool {
namespace {

const TransportFacts* transportOf(const SegmentLook& look) {
    const bool isTransport = look.facts().kind == SegmentFacts::Kind::TransportStream;
    return isTransport ? &look.facts().transport : nullptr;
}

std::string countOf(uint64_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string pidOf(int pid) {
    return "PID " + std::to_string(pid);
}

constexpr RuleCard kTablesMissing = {
    "ts-tables-missing", Severity::Error, "RFC 8216, 3.2", "A segment has no PAT or no PMT",
    "A player that begins with this segment, or comes to it from another rendition, does not know "
    "which packets are video and audio. Let the packager write both at the begin of each segment."};

class TablesMissing : public SegmentRule {
public:
    TablesMissing()
        : SegmentRule(kTablesMissing) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr || look.segment.init || (facts->hasPat && facts->hasPmt))
            return;
        look.add(!facts->hasPat ? "there is no PAT" : "there is no PMT that the PAT names");
    }
};

constexpr RuleCard kTablesLate = {
    "ts-tables-late", Severity::Warning, "RFC 8216, 3.2",
    "Media stands before the PAT and PMT of a segment",
    "Players drop what comes before the tables when they begin with this segment: pictures or "
    "sound are missing at its begin. The tables should be its first two packets."};

class TablesLate : public SegmentRule {
public:
    TablesLate()
        : SegmentRule(kTablesLate) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->isMediaBeforeTables && facts->hasPat && facts->hasPmt &&
            !look.segment.init)
            look.add("packets of media come before the tables that name them");
    }
};

constexpr RuleCard kSeveralPrograms = {
    "ts-several-programs", Severity::Error, "RFC 8216, 3.2", "A segment has more than one program",
    "Which program is played is up to chance, and all viewers pay for the others. Let the packager "
    "take one program out of its input."};

class SeveralPrograms : public SegmentRule {
public:
    SeveralPrograms()
        : SegmentRule(kSeveralPrograms) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->programs > 1)
            look.add("the PAT names " + std::to_string(facts->programs) + " programs");
    }
};

constexpr RuleCard kStreamsChange = {
    "ts-streams-change", Severity::Error, "RFC 8216, 4.3.2.3",
    "PIDs or types of streams change where no discontinuity is announced",
    "Players that keep their demultiplexer go silent or black. Keep PIDs and types the same, or "
    "announce the change with EXT-X-DISCONTINUITY."};

/// The audio and video that the PMT names: "PID 256 type 27".
std::string streamsText(const TransportFacts& facts) {
    std::string text;
    for (const auto& [pid, it] : facts.pids) {
        const bool isMedia = (it.type >= 1 && it.type <= 4) || it.type == 0x0F || it.type == 0x10 ||
                             it.type == 0x11 || it.type == 0x1B || it.type == 0x24 ||
                             it.type == 0x81 || it.type == 0x87;
        if (isMedia)
            text += (text.empty() ? "" : ", ") + pidOf(pid) + " of type " + std::to_string(it.type);
    }
    return text;
}

class StreamsChange : public PairRule {
public:
    StreamsChange()
        : PairRule(kStreamsChange) {}

protected:
    void look(const PairLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        const TransportFacts& before = look.before.facts.transport;
        if (facts == nullptr || !facts->hasPmt || !before.hasPmt || facts->hasTableChange ||
            before.hasTableChange)
            return;
        const std::string earlier = streamsText(before);
        const std::string now = streamsText(*facts);
        if (earlier != now)
            look.add(now + "; in the segment before it was " + earlier);
    }
};

constexpr RuleCard kTablesChange = {
    "ts-tables-change", Severity::Warning, "RFC 8216, 3.2 and 4.3.2.3",
    "The PMT changes inside a segment",
    "Players that look at the tables only at the begin of a segment lose the streams that change. "
    "Begin a new segment, with EXT-X-DISCONTINUITY, where the input changes."};

class TablesChange : public SegmentRule {
public:
    TablesChange()
        : SegmentRule(kTablesChange) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->hasTableChange)
            look.add("a later PMT names other streams than the first");
    }
};

constexpr RuleCard kContinuity = {
    "ts-continuity", Severity::Error, "ISO/IEC 13818-1, 2.4.3.3",
    "Packets are missing inside a segment",
    "Viewers see broken pictures or hear gaps. The packets were lost before or in the packager, "
    "often on its way in by UDP."};

class ContinuityInside : public SegmentRule {
public:
    ContinuityInside()
        : SegmentRule(kContinuity) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr || facts->damaged > 0 || facts->strayBytes > 0)
            return; // these tell why
        std::string text;
        for (const auto& [pid, it] : facts->pids) {
            if (it.continuityErrors > 0)
                text += (text.empty() ? "" : ", ") + countOf(it.continuityErrors, "break") +
                        " of the counter of " + pidOf(pid);
        }
        if (!text.empty())
            look.add(text);
    }
};

constexpr RuleCard kContinuityBetween = {
    "ts-continuity-between", Severity::Warning, "ISO/IEC 13818-1, 2.4.3.3",
    "Packets are missing between two segments",
    "Some players and all hardware demultiplexers drop the picture or sound at the begin of the "
    "segment. A counter that begins anew with each segment is not meant here."};

class ContinuityBetween : public PairRule {
public:
    ContinuityBetween()
        : PairRule(kContinuityBetween) {}

protected:
    void look(const PairLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr)
            return;
        for (const auto& [pid, it] : facts->pids) {
            const auto earlier = look.before.facts.transport.pids.find(pid);
            if (it.type != 0 && earlier != look.before.facts.transport.pids.end() &&
                isBroken(earlier->second, it))
                look.add(pidOf(pid) + " goes on with " + std::to_string(*it.firstCounter) +
                         " after " + std::to_string(earlier->second.lastCounter));
        }
    }

private:
    static bool isBroken(const PidFacts& before, const PidFacts& next) {
        if (!before.firstCounter || !next.firstCounter || next.isFirstDiscontinuous ||
            !next.isFirstPayload)
            return false;
        const int first = *next.firstCounter;
        const bool beginsAnew = first == 0 || first == *before.firstCounter;
        const bool isRepeated = first == before.lastCounter;
        return first != (before.lastCounter + 1) % 16 && !beginsAnew && !isRepeated;
    }
};

constexpr RuleCard kClockMissing = {
    "ts-clock-missing", Severity::Error, "ISO/IEC 13818-1, 2.4.2.2 and 2.7.2",
    "A segment has no clock references",
    "Set-top boxes and players that follow the program's clock do not start, or lose lip sync. The "
    "PMT has to name a PID that carries PCRs, ten a second at least."};

/// Whether a segment is so long that it cannot do without a clock reference.
bool needsClock(const SegmentFacts& facts) {
    constexpr double kShort = 0.2;
    const StreamFacts* const leading = facts.leading();
    return leading != nullptr && leading->kind != StreamFacts::Kind::Text &&
           leading->seconds > kShort;
}

class ClockMissing : public SegmentRule {
public:
    ClockMissing()
        : SegmentRule(kClockMissing) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->hasPmt && facts->clock.count == 0 &&
            needsClock(look.facts()))
            look.add("the PMT names " + pidOf(facts->clock.pid) +
                     " for the clock, which has no reference");
    }
};

constexpr RuleCard kClockInterval = {
    "ts-clock-interval", Severity::Warning, "ISO/IEC 13818-1, 2.7.2",
    "Clock references are more than 0.1 s apart",
    "Players that run by the media's timestamps do not mind; receivers that follow the clock lose "
    "it. Let the multiplexer write a PCR every 40 ms or so."};

class ClockInterval : public SegmentRule {
public:
    ClockInterval()
        : SegmentRule(kClockInterval) {}

protected:
    void look(const SegmentLook& look) const override {
        constexpr double kMost = 0.1 + 0.001; // the references may be rounded
        const TransportFacts* const facts = transportOf(look);
        // References stand beside audio or pictures, and these may be far apart.
        const StreamFacts* const video = look.facts().stream(StreamFacts::Kind::Video);
        const double natural = video != nullptr ? 2 * video->frameSeconds : kAudioUnit;
        if (facts != nullptr && facts->clock.backwards == 0 &&
            facts->clock.longest > std::max(kMost, natural + 0.001))
            look.add("up to " + exactSeconds(facts->clock.longest) + " apart");
    }

private:
    static constexpr double kAudioUnit = 1; ///< frames of audio that multiplexers write together
};

constexpr RuleCard kClockOrder = {
    "ts-clock-order", Severity::Error, "ISO/IEC 13818-1, 2.4.3.5",
    "The program's clock goes back inside a segment",
    "Players wait, skip or stop where the clock jumps. Begin a new segment with "
    "EXT-X-DISCONTINUITY where two recordings meet."};

class ClockOrder : public SegmentRule {
public:
    ClockOrder()
        : SegmentRule(kClockOrder) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->clock.backwards > 0)
            look.add("it goes back " + countOf(facts->clock.backwards, "time"));
    }
};

constexpr RuleCard kDecodeOrder = {
    "ts-decode-order", Severity::Error, "ISO/IEC 13818-1, 2.4.3.7",
    "Decode times go back inside a segment",
    "Decoders drop the pictures that come too late, or stop. Times have to rise from one PES "
    "packet of a stream to the next."};

class DecodeOrder : public SegmentRule {
public:
    DecodeOrder()
        : SegmentRule(kDecodeOrder) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr)
            return;
        for (const auto& [pid, it] : facts->pids) {
            if (it.decodeDisorders > 0)
                look.add(pidOf(pid) + ": they go back " + countOf(it.decodeDisorders, "time"));
        }
    }
};

constexpr RuleCard kShownTooEarly = {
    "ts-shown-before-decoded", Severity::Error, "ISO/IEC 13818-1, 2.4.3.7",
    "Something is to be shown before it is decoded",
    "No decoder can do that: pictures stutter or are dropped. The presentation time has to be the "
    "decode time or later."};

class ShownTooEarly : public SegmentRule {
public:
    ShownTooEarly()
        : SegmentRule(kShownTooEarly) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr)
            return;
        for (const auto& [pid, it] : facts->pids) {
            if (it.presentedBeforeDecode > 0)
                look.add(pidOf(pid) + ": PTS below DTS in " +
                         countOf(it.presentedBeforeDecode, "PES packet"));
        }
    }
};

constexpr RuleCard kScrambled = {
    "ts-scrambled", Severity::Error, "ISO/IEC 13818-1, 2.4.3.3", "Packets are scrambled",
    "No player of adaptive streaming can show them: encryption there is that of whole segments or "
    "of samples. Descramble the input before it is packaged."};

class Scrambled : public SegmentRule {
public:
    Scrambled()
        : SegmentRule(kScrambled) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr)
            return;
        for (const auto& [pid, it] : facts->pids) {
            if (it.scrambled > 0)
                look.add(countOf(it.scrambled, "scrambled packet") + " of " + pidOf(pid));
        }
    }
};

constexpr RuleCard kDamaged = {
    "ts-damaged-packets", Severity::Error, "ISO/IEC 13818-1, 2.4.3.3",
    "Packets are marked as damaged",
    "A receiver before the packager could not correct them. Viewers see blocks and hear clicks."};

class Damaged : public SegmentRule {
public:
    Damaged()
        : SegmentRule(kDamaged) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->damaged > 0)
            look.add(countOf(facts->damaged, "packet") + " with the transport error indicator");
    }
};

constexpr RuleCard kStrayBytes = {
    "ts-stray-bytes", Severity::Error, "ISO/IEC 13818-1, 2.4.3",
    "A segment has bytes that belong to no packet",
    "Players that do not look for the next packet fail here. The file was cut, joined with "
    "something else, or had its line ends changed."};

class StrayBytes : public SegmentRule {
public:
    StrayBytes()
        : SegmentRule(kStrayBytes) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts == nullptr || look.segment.isEncrypted)
            return;
        if (facts->strayBytes > 0)
            look.add(countOf(facts->strayBytes, "byte") + " outside of packets");
    }
};

constexpr RuleCard kBadSections = {
    "ts-bad-tables", Severity::Error, "ISO/IEC 13818-1, 2.4.4", "A table's checksum is wrong",
    "Players pass the table over and wait for a sound one, or never find the streams."};

class BadSections : public SegmentRule {
public:
    BadSections()
        : SegmentRule(kBadSections) {}

protected:
    void look(const SegmentLook& look) const override {
        const TransportFacts* const facts = transportOf(look);
        if (facts != nullptr && facts->badSections > 0 && facts->hasPat && facts->hasPmt)
            look.add(countOf(facts->badSections, "section") + " of the PAT or PMT");
    }
};

} // namespace

void addStreamRules(Rules& rules) {
    rules.push_back(std::make_unique<TablesMissing>());
    rules.push_back(std::make_unique<TablesLate>());
    rules.push_back(std::make_unique<SeveralPrograms>());
    rules.push_back(std::make_unique<StreamsChange>());
    rules.push_back(std::make_unique<TablesChange>());
    rules.push_back(std::make_unique<ContinuityInside>());
    rules.push_back(std::make_unique<ContinuityBetween>());
    rules.push_back(std::make_unique<ClockMissing>());
    rules.push_back(std::make_unique<ClockInterval>());
    rules.push_back(std::make_unique<ClockOrder>());
    rules.push_back(std::make_unique<DecodeOrder>());
    rules.push_back(std::make_unique<ShownTooEarly>());
    rules.push_back(std::make_unique<Scrambled>());
    rules.push_back(std::make_unique<Damaged>());
    rules.push_back(std::make_unique<StrayBytes>());
    rules.push_back(std::make_unique<BadSections>());
}

} // namespace hastool
