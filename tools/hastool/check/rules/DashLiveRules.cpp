#include <hastool/base/Quantities.h>
#include <hastool/check/DashStates.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/IsoTime.h>
#include <hastool/base/ToolError.h>

#include <cmath>

namespace hastool {
namespace {

class DashPublishTimeBack final : public DashStatesRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-publish-time", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "The manifest went back to an older state",
        "Players that believe it go back and stall, others stop. Servers behind one name have to "
        "tell the same, and caches may not keep manifests past their time."};
    DashPublishTimeBack()
        : DashStatesRule(kCard) {}

private:
    void compare(const Pair& pair) const override {
        const std::string before = pair.before.mpd().value("publishTime");
        const std::string after = pair.after.mpd().value("publishTime");
        const auto old = parseIsoDateTime(before);
        const auto now = parseIsoDateTime(after);
        if (old && now && *now < *old)
            pair.add(pair.after.mpd(), "publishTime is " + after + ", it had been " + before);
    }
};

class DashStartChanged final : public DashStatesRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-start-changed", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "availabilityStartTime changed",
        "All segments are counted from it: players lose their place and ask for segments that are "
        "not there. It has to stay for as long as the presentation lasts."};
    DashStartChanged()
        : DashStatesRule(kCard) {}

private:
    void compare(const Pair& pair) const override {
        constexpr double kSame = 0.001; // seconds
        const std::string before = pair.before.mpd().value("availabilityStartTime");
        const std::string after = pair.after.mpd().value("availabilityStartTime");
        const auto old = parseIsoDateTime(before);
        const auto now = parseIsoDateTime(after);
        if (old && now && std::abs(*now - *old) > kSame)
            pair.add(pair.after.mpd(), "it is " + after + ", it had been " + before);
    }
};

class DashTypeChanged final : public DashStatesRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-type", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "A presentation that had ended is live again",
        "Players have played to the end and do not load the manifest again. Begin another "
        "presentation under another URL."};
    DashTypeChanged()
        : DashStatesRule(kCard) {}

private:
    void compare(const Pair& pair) const override {
        if (!pair.before.isDynamic() && pair.after.isDynamic())
            pair.add(pair.after.mpd(), "it is dynamic, it had been static");
    }
};

class DashLiveEnd final : public DashStatesRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-end", Severity::Error, "ISO/IEC 23009-1, 5.3.1.2",
        "A live presentation ended without a duration",
        "Players do not know where to stop, and wait for segments that never come. A manifest that "
        "has become static needs mediaPresentationDuration, or the duration of its last Period."};
    DashLiveEnd()
        : DashStatesRule(kCard) {}

private:
    void compare(const Pair& pair) const override {
        const auto& periods = pair.after.periods();
        const bool hasEnd = pair.after.mpd().has("mediaPresentationDuration") || periods.empty() ||
                            periods.back().element->has("duration") || periods.back().isRemote;
        if (pair.before.isDynamic() && !pair.after.isDynamic() && !hasEnd)
            pair.add(pair.after.mpd(), "it became static, and has no duration");
    }
};

class DashPeriodChanged final : public DashStatesRule {
public:
    static constexpr RuleCard kCard{
        "dash-live-period-changed", Severity::Error, "ISO/IEC 23009-1, 5.4",
        "A Period that was published changed its start or its id",
        "Players take it for another one, and play its segments at the wrong time or twice. What "
        "was published stays; changes come with a new Period."};
    DashPeriodChanged()
        : DashStatesRule(kCard) {}

private:
    static constexpr double kSame = 0.001; // seconds

    void compare(const Pair& pair) const override {
        for (const DashPeriodView& it : pair.after.periods()) {
            const std::string id = it.element->value("id");
            for (const DashPeriodView& old : pair.before.periods()) {
                const std::string before = old.element->value("id");
                const bool isAtSame = std::abs(old.start - it.start) <= kSame;
                if (!id.empty() && id == before && !isAtSame && it.isStated && old.isStated)
                    pair.add(*it.element, "Period " + inQuotes(id) + " begins at " +
                                              exactSeconds(it.start) + ", it had begun at " +
                                              exactSeconds(old.start));
                else if (isAtSame && id != before && it.isStated && old.isStated)
                    pair.add(*it.element, "the Period at " + exactSeconds(it.start) + " is " +
                                              inQuotes(id) + ", it had been " + inQuotes(before));
            }
        }
    }
};

} // namespace

void addDashLiveRules(Rules& rules) {
    rules.push_back(std::make_unique<DashPublishTimeBack>());
    rules.push_back(std::make_unique<DashStartChanged>());
    rules.push_back(std::make_unique<DashTypeChanged>());
    rules.push_back(std::make_unique<DashLiveEnd>());
    rules.push_back(std::make_unique<DashPeriodChanged>());
}

} // namespace hastool
