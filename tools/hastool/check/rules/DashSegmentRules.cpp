#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Quantities.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace hastool {
namespace {

constexpr double kTimesDiffer = 0.001; // seconds; less is rounding

std::string exactText(double seconds) {
    char text[48];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

/// A rule about the segments of each representation. What several of them share is told once.
class SegmentsRule : public DashRule {
public:
    using DashRule::DashRule;

protected:
    struct Fault {
        const ManifestElement* element = nullptr;
        std::string text;
    };
    using Faults = std::vector<Fault>;

    virtual void find(const Look& look, const DashRepresentationView& representation,
                      const DashSegmenting& segments, Faults& faults) const = 0;

private:
    void look(const Look& look) const override {
        std::set<const ManifestElement*> told;
        for (const DashRepresentationView& it : look.view.representations()) {
            Faults faults;
            find(look, it, it.segmenting(), faults);
            for (const Fault& fault : faults) {
                if (told.insert(fault.element).second)
                    look.add(it, *fault.element, fault.text);
            }
        }
    }
};

class DashSegmentsMissing final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-segments-missing", Severity::Error, "ISO/IEC 23009-1, 5.3.9.1",
        "A Representation that does not say where its media is",
        "Players leave it out. It needs a BaseURL, or a SegmentTemplate, SegmentList or "
        "SegmentBase, at its own or an outer level; a SegmentList needs its SegmentURLs."};
    DashSegmentsMissing()
        : SegmentsRule(kCard) {}

private:
    void find(const Look&, const DashRepresentationView& representation,
              const DashSegmenting& segments, Faults& faults) const override {
        const bool isRemote = representation.set != nullptr && isRemoteElement(*representation.set);
        if (segments.kind == DashSegmenting::Kind::List && segments.list == nullptr &&
            !isRemoteElement(*segments.element))
            faults.push_back({segments.element, "a SegmentList without a SegmentURL"});
        else if (segments.kind != DashSegmenting::Kind::Template &&
                 segments.kind != DashSegmenting::Kind::List && representation.bases().empty() &&
                 !isRemote)
            faults.push_back({representation.element, "no BaseURL and no segments"});
    }
};

class DashDurationAndTimeline final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-duration-and-timeline", Severity::Error, "ISO/IEC 23009-1, 5.3.9.2",
        "Segments with both a duration and a SegmentTimeline",
        "Players disagree about which of the two counts, and ask for segments that are not there. "
        "Keep the one that is right."};
    DashDurationAndTimeline()
        : SegmentsRule(kCard) {}

private:
    void find(const Look&, const DashRepresentationView&, const DashSegmenting& segments,
              Faults& faults) const override {
        if (segments.timeline != nullptr && segments.duration)
            faults.push_back({segments.timeline,
                              "the duration is " + exactText(segments.seconds(*segments.duration)) +
                                  ", and there is a SegmentTimeline"});
    }
};

class DashTimelineOverlap final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-timeline-overlap", Severity::Error, "ISO/IEC 23009-1, 5.3.9.6",
        "Segments of a SegmentTimeline overlap, or go back",
        "Players leave segments out, play a part twice or stop. An S begins where the one before "
        "it ends, or later."};
    DashTimelineOverlap()
        : SegmentsRule(kCard) {}

private:
    void find(const Look&, const DashRepresentationView&, const DashSegmenting& segments,
              Faults& faults) const override {
        const auto stretches = segments.stretches();
        for (size_t i = 1; stretches && i < stretches->size(); ++i) {
            const DashStretch& it = (*stretches)[i];
            const DashStretch& last = (*stretches)[i - 1];
            const bool isCounted = last.element->value("r").rfind('-', 0) != 0;
            if (!isCounted || last.end() <= it.time ||
                segments.seconds(last.end() - it.time) <= kTimesDiffer)
                continue;
            faults.push_back({it.element, "it begins at " + exactText(segments.seconds(it.time)) +
                                              ", the S before it ends at " +
                                              exactText(segments.seconds(last.end()))});
        }
    }
};

class DashTimelineGap final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-timeline-gap", Severity::Warning, "ISO/IEC 23009-1, 5.3.9.6",
        "A gap in a SegmentTimeline",
        "Players stand still there, or jump over it if they can. Close the gap, or begin a new "
        "Period behind it."};
    DashTimelineGap()
        : SegmentsRule(kCard) {}

private:
    static constexpr double kNoticed = 0.1; // seconds

    void find(const Look&, const DashRepresentationView& representation,
              const DashSegmenting& segments, Faults& faults) const override {
        const auto stretches = segments.stretches();
        if (!(representation.isVideo() || representation.isAudio()))
            return; // there need not be subtitles all the time
        for (size_t i = 1; stretches && i < stretches->size(); ++i) {
            const DashStretch& it = (*stretches)[i];
            const DashStretch& last = (*stretches)[i - 1];
            if (last.count == 0 || it.time <= last.end() ||
                segments.seconds(it.time - last.end()) <= kNoticed)
                continue;
            faults.push_back({it.element, "nothing from " +
                                              exactText(segments.seconds(last.end())) + " to " +
                                              exactText(segments.seconds(it.time))});
        }
    }
};

class DashTimelineRepeat final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-timeline-repeat", Severity::Error, "ISO/IEC 23009-1, 5.3.9.6",
        "An S that is repeated up to nowhere",
        "Players cannot tell how many segments there are. An S with a negative r lasts to the t of "
        "the next one, which has to be there and behind it."};
    DashTimelineRepeat()
        : SegmentsRule(kCard) {}

private:
    void find(const Look&, const DashRepresentationView&, const DashSegmenting& segments,
              Faults& faults) const override {
        if (segments.timeline == nullptr)
            return;
        const auto all = segments.timeline->all("S");
        for (size_t i = 0; i + 1 < all.size(); ++i) {
            if (all[i]->value("r").rfind('-', 0) == 0 && !all[i + 1]->has("t"))
                faults.push_back(
                    {all[i], "r is " + inQuotes(all[i]->value("r")) + ", and the next S has no t"});
        }
    }
};

/// Seconds of the longest segment; nothing where that is not known.
std::optional<double> longestOf(const DashSegmenting& segments) {
    if (segments.timeline == nullptr)
        return segments.duration ? std::optional(segments.seconds(*segments.duration))
                                 : std::nullopt;
    const auto stretches = segments.stretches();
    if (!stretches || stretches->empty())
        return std::nullopt;
    const auto longest = std::max_element(
        stretches->begin(), stretches->end(),
        [](const DashStretch& a, const DashStretch& b) { return a.duration < b.duration; });
    return segments.seconds(longest->duration);
}

class DashLongSegment final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-long-segment", Severity::Warning, "ISO/IEC 23009-1, 5.3.1.2",
        "A segment is longer than maxSegmentDuration",
        "Players plan their buffers and the distance from live with it, and run dry. Write the "
        "length of the longest segment."};
    DashLongSegment()
        : SegmentsRule(kCard) {}

private:
    void find(const Look& look, const DashRepresentationView&, const DashSegmenting& segments,
              Faults& faults) const override {
        const auto most = look.view.duration("maxSegmentDuration");
        const auto longest = longestOf(segments);
        // Manifests round it to a part of a second, and audio is cut where its frames end.
        const double rounded = most.value_or(0) * 1.05 + 0.1;
        if (most && longest && *longest > rounded)
            faults.push_back({segments.element,
                              exactText(*longest) + ", maxSegmentDuration is " + exactText(*most)});
    }
};

/// Of segments that end, the last one.
struct Covered {
    double lastStart = 0; ///< seconds since the begin of the period
    double end = 0;
    double longest = 0;
    const ManifestElement* element = nullptr;
};

std::optional<Covered> coveredBy(const DashSegmenting& segments) {
    Covered covered;
    covered.longest = longestOf(segments).value_or(0);
    if (segments.timeline != nullptr) {
        const auto stretches = segments.stretches();
        if (!stretches || stretches->empty() || stretches->back().count == 0)
            return std::nullopt;
        const double offset = segments.seconds(segments.timeOffset);
        const DashStretch& last = stretches->back();
        covered.end = segments.seconds(last.end()) - offset;
        covered.lastStart = covered.end - segments.seconds(last.duration);
        covered.element = segments.timeline;
        return covered;
    }
    uint64_t count = 0;
    if (segments.list != nullptr)
        count = segments.list->all("SegmentURL").size();
    else if (segments.endNumber && *segments.endNumber >= segments.startNumber)
        count = *segments.endNumber - segments.startNumber + 1;
    if (count == 0 || !segments.duration)
        return std::nullopt;
    const double length = segments.seconds(*segments.duration);
    covered.end = length * static_cast<double>(count);
    covered.lastStart = covered.end - length;
    covered.element = segments.list != nullptr ? segments.list : segments.element;
    return covered;
}

/// What a recorded period lists of video or audio, with the period's length.
std::optional<std::pair<Covered, double>> listedIn(const DashView& view,
                                                   const DashRepresentationView& representation,
                                                   const DashSegmenting& segments) {
    const DashPeriodView& period = view.periods()[representation.period];
    if (view.isDynamic() || !period.duration ||
        !(representation.isVideo() || representation.isAudio()))
        return std::nullopt;
    const auto covered = coveredBy(segments);
    return covered ? std::optional(std::pair(*covered, *period.duration)) : std::nullopt;
}

class DashSegmentsShort final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-segments-short", Severity::Warning, "ISO/IEC 23009-1, 5.3.9.2",
        "Segments end before their Period does",
        "Players wait at the end for what never comes. List all segments, or make the Period as "
        "long as they are."};
    DashSegmentsShort()
        : SegmentsRule(kCard) {}

private:
    void find(const Look& look, const DashRepresentationView& representation,
              const DashSegmenting& segments, Faults& faults) const override {
        const auto listed = listedIn(look.view, representation, segments);
        if (look.hasMedia())
            return;
        if (listed && listed->first.end + std::max(1.0, listed->first.longest) < listed->second)
            faults.push_back({listed->first.element, "they end at " + exactText(listed->first.end) +
                                                         ", the Period lasts " +
                                                         exactText(listed->second)});
    }
};

class DashSegmentsLong final : public SegmentsRule {
public:
    static constexpr RuleCard kCard{
        "dash-segments-long", Severity::Note, "ISO/IEC 23009-1, 5.3.9.2",
        "Segments are listed behind the end of their Period",
        "Players do not play them. The Period may be shorter than it was meant to be."};
    DashSegmentsLong()
        : SegmentsRule(kCard) {}

private:
    void find(const Look& look, const DashRepresentationView& representation,
              const DashSegmenting& segments, Faults& faults) const override {
        constexpr double kNoticed = 0.5; // seconds
        const auto listed = listedIn(look.view, representation, segments);
        if (listed && listed->first.lastStart > listed->second + kNoticed)
            faults.push_back({listed->first.element,
                              "the last one begins at " + exactText(listed->first.lastStart) +
                                  ", the Period lasts " + exactText(listed->second)});
    }
};

} // namespace

void addDashSegmentRules(Rules& rules) {
    rules.push_back(std::make_unique<DashSegmentsMissing>());
    rules.push_back(std::make_unique<DashDurationAndTimeline>());
    rules.push_back(std::make_unique<DashTimelineOverlap>());
    rules.push_back(std::make_unique<DashTimelineGap>());
    rules.push_back(std::make_unique<DashTimelineRepeat>());
    rules.push_back(std::make_unique<DashLongSegment>());
    rules.push_back(std::make_unique<DashSegmentsShort>());
    rules.push_back(std::make_unique<DashSegmentsLong>());
}

} // namespace hastool
