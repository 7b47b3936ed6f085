#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace hastool {
namespace {

/// The media time that edits let a track begin with, in seconds.
double editOf(const SegmentLook& look, uint32_t track) {
    const InitFacts* const init = look.init();
    const InitTrackFacts* const facts = init != nullptr ? init->track(track) : nullptr;
    return facts != nullptr ? facts->editStart : 0;
}

/// How far a segment's media lies from where the manifest puts it, in seconds. Its decode time, its
/// presentation time and that behind edits are all in use: the nearest counts.
std::optional<double> shiftOf(const SegmentLook& look) {
    const bool isMp4 = look.facts().kind == SegmentFacts::Kind::Fragments;
    const StreamFacts* const stream = look.facts().leading();
    if (!isMp4 || look.evidence.format != CheckedFormat::Dash || stream == nullptr ||
        !stream->decodeStart || !stream->start || look.rendition.isTrick)
        return std::nullopt;
    const double declared = look.segment.start - look.segment.timeOffset;
    std::optional<double> nearest;
    for (const double time :
         {*stream->decodeStart, *stream->start, *stream->start - editOf(look, stream->id)}) {
        if (!nearest || std::abs(time - declared) < std::abs(*nearest))
            nearest = time - declared;
    }
    return nearest;
}

std::string shiftText(const SegmentLook& look, double shift) {
    const double declared = look.segment.start - look.segment.timeOffset;
    return "its media begins at " + exactSeconds(declared + shift) + ", the manifest says " +
           exactSeconds(declared);
}

bool isFar(const SegmentLook& look, double shift) {
    constexpr double kLeast = 0.1;
    return std::abs(shift) > std::max(kLeast, 0.5 * look.segment.seconds);
}

constexpr RuleCard kPlace = {
    "mp4-decode-time", Severity::Error, "ISO/IEC 23009-1, 7.2.1; DASH-IF IOP 4.3, 3.2.7",
    "A segment's media lies elsewhere than the manifest says",
    "Players wait for media that they have put elsewhere, and stall. The tfdt, less "
    "presentationTimeOffset, has to be the time in the manifest, half a segment off at most."};

class DecodeTime : public SegmentRule {
public:
    DecodeTime()
        : SegmentRule(kPlace) {}

protected:
    void look(const SegmentLook& look) const override {
        const auto shift = shiftOf(look);
        if (shift && isFar(look, *shift))
            look.add(shiftText(look, *shift), "moof/traf/tfdt");
    }
};

constexpr RuleCard kTimeline = {
    "mp4-timeline-accuracy", Severity::Warning, "ISO/IEC 23009-1, 5.3.9.6",
    "A segment's media does not begin at the time in the timeline",
    "Seeking is off by as much, and segments of several representations do not meet. The timeline "
    "has to tell times to the tick."};

class TimelineAccuracy : public SegmentRule {
public:
    TimelineAccuracy()
        : SegmentRule(kTimeline) {}

protected:
    void look(const SegmentLook& look) const override {
        const auto shift = shiftOf(look);
        if (!shift || isFar(look, *shift) || !hasExactTimes(look.evidence, look.rendition))
            return;
        constexpr double kRounded = 0.05;
        const StreamFacts* const stream = look.facts().leading();
        if (std::abs(*shift) > std::max(kRounded, 2.5 * stream->frameSeconds))
            look.add(shiftText(look, *shift), "moof/traf/tfdt");
    }
};

constexpr RuleCard kChunk = {
    "smooth-chunk-time", Severity::Error, "[MS-SSTR] 2.2.2.6 and 2.2.4.4",
    "A fragment begins at another time than the manifest says",
    "Players put it elsewhere than its neighbours and stall or skip. The time in the fragment has "
    "to be the one that it is asked for with."};

class ChunkTime : public SegmentRule {
public:
    ChunkTime()
        : SegmentRule(kChunk) {}

protected:
    void look(const SegmentLook& look) const override {
        constexpr double kRounded = 0.01;
        if (look.evidence.format != CheckedFormat::Smooth)
            return;
        for (const auto& [id, track] : look.facts().boxes.tracks) {
            if (!track.smoothTime || track.timescale == 0)
                continue;
            const double begin = static_cast<double>(*track.smoothTime) / track.timescale;
            if (std::abs(begin - look.segment.start) > kRounded)
                look.add("the fragment says " + exactSeconds(begin) + ", the manifest " +
                             exactSeconds(look.segment.start),
                         "moof/traf/uuid");
        }
    }
};

constexpr RuleCard kEarlier = {
    "mp4-index-time", Severity::Warning, "ISO/IEC 14496-12, 8.16.3",
    "A segment's index tells another time than its fragments have",
    "Players that place segments by the index show them at the wrong time. The earliest "
    "presentation time in the sidx has to be that of the samples."};

class IndexTime : public SegmentRule {
public:
    IndexTime()
        : SegmentRule(kEarlier) {}

protected:
    void look(const SegmentLook& look) const override {
        const auto& index = look.facts().boxes.index;
        if (!index)
            return;
        for (const StreamFacts& it : look.facts().streams) {
            if (it.id != index->trackId || !it.start || !it.decodeStart)
                continue;
            const double edit = editOf(look, it.id);
            double nearest = std::abs(*it.start - index->earliest);
            for (const double time : {*it.decodeStart, *it.start - edit, *it.decodeStart - edit})
                nearest = std::min(nearest, std::abs(time - index->earliest));
            if (nearest > std::max(0.05, 2.5 * it.frameSeconds))
                look.add("it tells " + exactSeconds(index->earliest) + ", the samples begin at " +
                             exactSeconds(*it.start),
                         "sidx");
        }
    }
};

} // namespace

void addPlacementRules(Rules& rules) {
    rules.push_back(std::make_unique<DecodeTime>());
    rules.push_back(std::make_unique<TimelineAccuracy>());
    rules.push_back(std::make_unique<ChunkTime>());
    rules.push_back(std::make_unique<IndexTime>());
}

} // namespace hastool
