#include <hastool/base/Quantities.h>
#include <hastool/base/WebPage.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

const BoxFacts* boxesOf(const SegmentLook& look) {
    return look.facts().kind == SegmentFacts::Kind::Fragments ? &look.facts().boxes : nullptr;
}

std::string trackText(uint32_t id) {
    return "track " + std::to_string(id);
}

constexpr RuleCard kInitMissing = {
    "mp4-init-missing", Severity::Error, "RFC 8216, 3.3; ISO/IEC 23009-1, 5.3.9.5.2",
    "MP4 segments have no initialisation",
    "Nothing can be decoded without the tracks' description. HLS needs EXT-X-MAP, DASH an "
    "Initialization or initialization template."};

class InitMissing : public RenditionRule {
public:
    InitMissing()
        : RenditionRule(kInitMissing) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& it : look.rendition.segments) {
            if (!isRead(it) || it.facts.kind != SegmentFacts::Kind::Fragments || it.init ||
                it.makeInit || it.facts.boxes.hasMovie)
                continue;
            SegmentLook{look, it}.add("the segment is MP4, and no initialisation is declared");
            return; // all others lack it too
        }
    }
};

/// Looks at the initialisations that were had.
class InitRule : public RenditionRule {
public:
    using RenditionRule::RenditionRule;

protected:
    void look(const RenditionLook& look) const final {
        for (const CheckedInit& it : look.rendition.inits) {
            // A server that sends pages is told of elsewhere.
            const bool isPage = !it.answer.isLocal && looksLikeWebPage(it.bytes);
            const bool isHad = it.isFetched && it.answer.ok && it.decryptTrouble.empty() && !isPage;
            const std::string trouble = isHad ? troubleOf(it.facts) : "";
            if (!trouble.empty())
                look.findings.add(
                    card(), {look.rendition.name, "initialisation", placeOf(it.answer)}, trouble);
        }
    }
    /// What is wrong with it; empty for nothing.
    virtual std::string troubleOf(const InitFacts& facts) const = 0;
};

constexpr RuleCard kInitUnreadable = {
    "mp4-init-unreadable", Severity::Error, "ISO/IEC 14496-12, 8.2",
    "An initialisation cannot be read",
    "No segment that needs it can be played. Look at what the server answers for its URL, and at "
    "the byte range where there is one."};

class InitUnreadable : public InitRule {
public:
    InitUnreadable()
        : InitRule(kInitUnreadable) {}

protected:
    std::string troubleOf(const InitFacts& facts) const override { return facts.trouble; }
};

constexpr RuleCard kInitWhole = {
    "mp4-init-not-fragmented", Severity::Error, "ISO/IEC 14496-12, 8.8.1 and 8.8.3",
    "An initialisation does not announce fragments",
    "Players take the file for one that has its samples in moov and find none. moov needs mvex, "
    "with a trex for each track."};

class InitNotFragmented : public InitRule {
public:
    InitNotFragmented()
        : InitRule(kInitWhole) {}

protected:
    std::string troubleOf(const InitFacts& facts) const override {
        if (!facts.trouble.empty() || facts.isTransportStream)
            return {};
        if (!facts.isFragmented)
            return "moov has no mvex";
        for (const InitTrackFacts& it : facts.tracks) {
            if (!it.hasDefaults)
                return "mvex has no trex for " + trackText(it.id);
        }
        return {};
    }
};

constexpr RuleCard kTrackUnknown = {
    "mp4-track-unknown", Severity::Error, "ISO/IEC 14496-12, 8.8.7",
    "A segment has a track that its initialisation does not have",
    "Players skip the track or fail. The segment belongs to another initialisation, or the "
    "packager numbers tracks anew."};

class TrackUnknown : public SegmentRule {
public:
    TrackUnknown()
        : SegmentRule(kTrackUnknown) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        const InitFacts* const init = look.init();
        if (boxes == nullptr || init == nullptr)
            return;
        for (const auto& [id, track] : boxes->tracks) {
            if (init->track(id) == nullptr)
                look.add("the initialisation has no " + trackText(id), "moof/traf/tfhd");
        }
    }
};

constexpr RuleCard kBroken = {
    "mp4-broken", Severity::Error, "ISO/IEC 14496-12, 4.2 and 8.8",
    "The boxes of a segment are broken",
    "Players stop at the first box that makes no sense. The file was cut, or written by something "
    "that does not know its own sizes."};

class BrokenBoxes : public SegmentRule {
public:
    BrokenBoxes()
        : SegmentRule(kBroken) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes != nullptr && !boxes->broken.empty())
            look.add(boxes->broken);
    }
};

constexpr RuleCard kNoFragment = {
    "mp4-fragment-missing", Severity::Error, "ISO/IEC 23009-1, 6.3.4.2; RFC 8216, 3.3",
    "A segment has no movie fragment",
    "There is nothing to decode in it. A byte range that leads to the wrong place is what causes "
    "it most."};

class FragmentMissing : public SegmentRule {
public:
    FragmentMissing()
        : SegmentRule(kNoFragment) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes != nullptr && boxes->fragments == 0 && !boxes->hasMovie && boxes->broken.empty())
            look.add("it has no moof");
    }
};

constexpr RuleCard kOutside = {
    "mp4-samples-outside", Severity::Error, "ISO/IEC 14496-12, 8.8.8",
    "Samples lie outside of the segment's media data",
    "What is decoded is not what was encoded: pictures break, or decoders fail. Offsets were not "
    "mended when boxes grew, or sizes are wrong."};

class SamplesOutside : public SegmentRule {
public:
    SamplesOutside()
        : SegmentRule(kOutside) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes != nullptr && !boxes->outside.empty() && boxes->broken.empty())
            look.add(boxes->outside, "moof/traf/trun");
    }
};

constexpr RuleCard kTimeMissing = {
    "mp4-decode-time-missing", Severity::Error, "ISO/IEC 23009-1, 6.3.4.2; RFC 8216, 3.3",
    "A fragment does not say when it begins",
    "Players do not know where it belongs after a seek or a switch. Each traf needs a tfdt."};

class DecodeTimeMissing : public SegmentRule {
public:
    DecodeTimeMissing()
        : SegmentRule(kTimeMissing) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes == nullptr || look.evidence.format == CheckedFormat::Smooth)
            return;
        for (const auto& [id, track] : boxes->tracks) {
            if (track.isInInit && !track.hasDecodeTime && boxes->broken.empty())
                look.add(trackText(id) + " has no tfdt", "moof/traf");
        }
    }
};

constexpr RuleCard kGap = {
    "mp4-fragment-gap", Severity::Warning, "ISO/IEC 14496-12, 8.8.12",
    "Fragments in a segment do not go on one after the other",
    "Players leave a gap or drop what overlaps. The tfdt of a fragment has to be the sum of all "
    "durations before it."};

class FragmentGap : public SegmentRule {
public:
    FragmentGap()
        : SegmentRule(kGap) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes == nullptr)
            return;
        for (const auto& [id, track] : boxes->tracks) {
            if (track.breaks > 0 && !isText(look, id))
                look.add(trackText(id) + ": " + std::to_string(track.breaks) + " of " +
                             std::to_string(track.fragments) +
                             " fragments begin elsewhere than the one before ends",
                         "moof/traf/tfdt");
        }
    }

private:
    static bool isText(const SegmentLook& look, uint32_t id) {
        const auto& all = look.facts().streams;
        return std::any_of(all.begin(), all.end(), [id](const StreamFacts& it) {
            return it.id == id && it.kind != StreamFacts::Kind::Video &&
                   it.kind != StreamFacts::Kind::Audio;
        });
    }
};

constexpr RuleCard kSequence = {
    "mp4-sequence", Severity::Warning, "ISO/IEC 14496-12, 8.8.5",
    "The numbers of a segment's fragments do not rise",
    "Few players look at them; those that do take the fragment for one they have had."};

class SequenceInside : public SegmentRule {
public:
    SequenceInside()
        : SegmentRule(kSequence) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes != nullptr && boxes->sequenceBreaks > 0)
            look.add(std::to_string(boxes->sequenceBreaks) + " of " +
                         std::to_string(boxes->fragments) +
                         " fragments have a number that is not above the one before",
                     "moof/mfhd");
    }
};

constexpr RuleCard kSequenceBack = {
    "mp4-sequence-back", Severity::Note, "ISO/IEC 14496-12, 8.8.5",
    "A segment's fragment numbers go back",
    "Few players look at them. A packager that counts its fragments lets them rise from segment "
    "to segment."};

class SequenceBack : public PairRule {
public:
    SequenceBack()
        : PairRule(kSequenceBack) {}

protected:
    void look(const PairLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        const auto& before = look.before.facts.boxes.sequence;
        if (boxes == nullptr || boxes->sequence.empty() || before.empty())
            return;
        if (boxes->sequence.front() < before.back())
            look.add("number " + std::to_string(boxes->sequence.front()) + " after " +
                         std::to_string(before.back()),
                     "moof/mfhd");
    }
};

constexpr RuleCard kIndex = {
    "mp4-index", Severity::Warning, "ISO/IEC 14496-12, 8.16.3",
    "A segment's index does not lead to the end of a box",
    "Players that fetch by the index get cut fragments. The sidx was not mended when boxes before "
    "the media were changed."};

class IndexPlaces : public SegmentRule {
public:
    IndexPlaces()
        : SegmentRule(kIndex) {}

protected:
    void look(const SegmentLook& look) const override {
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes == nullptr || !boxes->index || !boxes->broken.empty())
            return;
        const IndexFacts& index = *boxes->index;
        if (index.references > 0 && !index.leadsToIndex && !index.endsAtBox)
            look.add("what it refers to, " + std::to_string(index.bytes) +
                         " bytes, does not end with a box of the segment",
                     "sidx");
    }
};

constexpr RuleCard kIndexDuration = {
    "mp4-index-duration", Severity::Warning, "ISO/IEC 14496-12, 8.16.3",
    "A segment's index tells another duration than its fragments have",
    "Players that plan by the index seek to the wrong place. The sidx has to add up to what the "
    "samples of its track do."};

class IndexDuration : public SegmentRule {
public:
    IndexDuration()
        : SegmentRule(kIndexDuration) {}

protected:
    void look(const SegmentLook& look) const override {
        constexpr double kRounded = 0.05;
        const BoxFacts* const boxes = boxesOf(look);
        if (boxes == nullptr || !boxes->index || boxes->index->leadsToIndex ||
            !boxes->index->endsAtBox)
            return;
        for (const StreamFacts& it : look.facts().streams) {
            const double tolerance = kRounded + 1.5 * it.frameSeconds;
            if (it.id == boxes->index->trackId && it.seconds > 0 &&
                std::abs(boxes->index->seconds - it.seconds) > tolerance)
                look.add("it tells " + exactSeconds(boxes->index->seconds) + ", the samples last " +
                             exactSeconds(it.seconds),
                         "sidx");
        }
    }
};

} // namespace

void addFragmentRules(Rules& rules) {
    rules.push_back(std::make_unique<InitMissing>());
    rules.push_back(std::make_unique<InitUnreadable>());
    rules.push_back(std::make_unique<InitNotFragmented>());
    rules.push_back(std::make_unique<TrackUnknown>());
    rules.push_back(std::make_unique<BrokenBoxes>());
    rules.push_back(std::make_unique<FragmentMissing>());
    rules.push_back(std::make_unique<SamplesOutside>());
    rules.push_back(std::make_unique<DecodeTimeMissing>());
    rules.push_back(std::make_unique<FragmentGap>());
    rules.push_back(std::make_unique<SequenceInside>());
    rules.push_back(std::make_unique<SequenceBack>());
    rules.push_back(std::make_unique<IndexPlaces>());
    rules.push_back(std::make_unique<IndexDuration>());
}

} // namespace hastool
