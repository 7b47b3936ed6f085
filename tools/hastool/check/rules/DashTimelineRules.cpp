#include <hastool/check/DashRule.h>
#include <hastool/check/DashStates.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Quantities.h>

#include <algorithm>
#include <map>

namespace hastool {
namespace {

/// A rule about timelines that two states of the manifest have.
class TimelineRule : public DashStatesRule {
public:
    using DashStatesRule::DashStatesRule;

protected:
    /// Tells at most one thing of each.
    virtual void compareBoth(const Pair& pair, const DashTimelines& both) const = 0;

private:
    void compare(const Pair& pair) const override {
        for (const DashTimelines& it : commonTimelines(pair))
            compareBoth(pair, it);
    }
};

bool isTimed(const DashSegmenting& segmenting) {
    return segmenting.media && segmenting.media->find("$Time") != std::string::npos;
}

class DashTimelineChanged final : public TimelineRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-timeline-changed", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "Segments that were published have other times now",
        "Players that know the earlier times ask for segments that are not there. What was "
        "published stays as it was; encoders have to agree about times."};
    DashTimelineChanged()
        : TimelineRule(kCard) {}

private:
    static uint64_t apart(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

    void compareBoth(const Pair& pair, const DashTimelines& both) const override {
        constexpr double kRounding = 0.01; // seconds; a time that names a segment is exact
        const double most = isTimed(both.segmenting) ? 0 : kRounding;
        const auto isOther = [&](uint64_t a, uint64_t b) {
            return apart(a, b) > 0 && both.segmenting.seconds(apart(a, b)) > most;
        };
        auto old = both.before.begin();
        const uint64_t slack = both.after.front().duration / 2;
        while (old != both.before.end() && old->time + slack < both.after.front().time)
            ++old;
        auto now = both.after.begin();
        if (old != both.before.end()) {
            while (now != both.after.end() && now->time + now->duration / 2 < old->time)
                ++now;
        }
        for (; old != both.before.end() && now != both.after.end(); ++old, ++now) {
            if (!isOther(old->time, now->time) && !isOther(old->duration, now->duration))
                continue;
            const auto text = [&](const DashListed& it) {
                return exactSeconds(both.segmenting.seconds(it.time)) + " for " +
                       exactSeconds(both.segmenting.seconds(it.duration));
            };
            pair.add(*both.representation, *now->element,
                     "a segment from " + text(*now) + ", it had been from " + text(*old));
            return;
        }
    }
};

class DashNumbersChanged final : public TimelineRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-numbers", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "Segments that were published have other numbers now",
        "Players ask for the wrong segments: parts are missing or come twice. When segments fall "
        "out of the timeline, startNumber has to go up by as many."};
    DashNumbersChanged()
        : TimelineRule(kCard) {}

private:
    void compareBoth(const Pair& pair, const DashTimelines& both) const override {
        const auto& media = both.segmenting.media;
        if (!media || media->find("$Number") == std::string::npos)
            return;
        std::map<uint64_t, uint64_t> numbers;
        for (const DashListed& it : both.before)
            numbers[it.time] = it.number;
        for (const DashListed& it : both.after) {
            const auto old = numbers.find(it.time);
            if (old == numbers.end() || old->second == it.number)
                continue;
            pair.add(*both.representation, *it.element,
                     "the segment at " + exactSeconds(both.segmenting.seconds(it.time)) + " is " +
                         std::to_string(it.number) + ", it had been " +
                         std::to_string(old->second));
            return;
        }
    }
};

class DashVanished final : public TimelineRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-vanished", Severity::Warning, "ISO/IEC 23009-1, 5.3.1.2",
        "Segments left the manifest earlier than timeShiftBufferDepth says",
        "Players that are that far behind live lose their place. Keep segments as long as "
        "timeShiftBufferDepth says, or write what is kept."};
    DashVanished()
        : TimelineRule(kCard) {}

private:
    void compareBoth(const Pair& pair, const DashTimelines& both) const override {
        const auto depth = pair.after.duration("timeShiftBufferDepth");
        const DashListed& first = both.after.front();
        if (!depth || !pair.after.isDynamic() || first.time <= both.before.front().time)
            return;
        const DashListed& last = both.after.back();
        const DashSegmenting& segmenting = both.segmenting;
        const uint64_t end = last.time + last.duration;
        // A manifest is written at some moment between two segments.
        const double kept = segmenting.seconds(end - std::min(end, first.time)) +
                            2 * segmenting.seconds(std::max(first.duration, last.duration));
        const bool isNewest = both.representation->period + 1 == pair.after.periods().size();
        if (isNewest && kept < *depth)
            pair.add(*both.representation, *first.element,
                     "they reach back " + exactSeconds(segmenting.seconds(end - first.time)) +
                         ", and earlier ones were dropped; timeShiftBufferDepth is " +
                         exactSeconds(*depth));
    }
};

class DashStalled final : public Rule {
public:
    static constexpr RuleCard kCard{
        "dash-live-stalled", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "The timeline does not move on",
        "Players run out of segments and stand still. The encoder or packager may have stopped, or "
        "a cache keeps the manifest too long."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        std::map<std::string, Edge> edges;
        for (const CheckedDocument* const it : dashStates(evidence)) {
            const DashView view(*it);
            for (const DashRepresentationView& one : view.representations())
                follow(evidence, view, one, edges[dashTrackName(view, one)], findings);
        }
    }

private:
    struct Edge {
        double end = -1; ///< seconds since the begin of the period
        double since = 0;
        bool isTold = false;
    };

    static void follow(const Evidence& evidence, const DashView& view,
                       const DashRepresentationView& representation, Edge& edge,
                       Findings& findings) {
        const DashSegmenting segmenting = representation.segmenting();
        const auto listed = listSegments(segmenting);
        const auto& period = view.periods()[representation.period];
        const bool isNewest = representation.period + 1 == view.periods().size();
        if (listed.empty() || !isNewest || !view.isDynamic() ||
            !(representation.isVideo() || representation.isAudio()))
            return;
        const DashListed& last = listed.back();
        const uint64_t endTicks = last.time + last.duration;
        const double end = segmenting.seconds(endTicks) - segmenting.seconds(segmenting.timeOffset);
        const double now = view.document().answer.begun;
        const double length = segmenting.seconds(last.duration);
        const bool isOver = period.duration && end + length >= *period.duration;
        if (end > edge.end || isOver) {
            edge = {end, now, false};
            return;
        }
        const double update = view.duration("minimumUpdatePeriod").value_or(0);
        if (edge.isTold || now - edge.since <= 3 * length + update)
            return;
        edge.isTold = true;
        findings.add(kCard,
                     {renditionName(evidence, representation),
                      {},
                      placeInManifest(view.document(), *last.element)},
                     "no new segment for " + secondsText(now - edge.since) + ", segments last " +
                         exactSeconds(length));
    }
};

} // namespace

void addDashTimelineRules(Rules& rules) {
    rules.push_back(std::make_unique<DashTimelineChanged>());
    rules.push_back(std::make_unique<DashNumbersChanged>());
    rules.push_back(std::make_unique<DashVanished>());
    rules.push_back(std::make_unique<DashStalled>());
}

} // namespace hastool
