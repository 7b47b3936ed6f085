#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Quantities.h>

#include <cmath>

namespace hastool {
namespace {

constexpr double kRounding = 0.5; // seconds that lengths in manifests are rounded by

/// Whether the manifest says, or another document may say, where the presentation ends.
bool hasEnd(const DashView& view) {
    const auto& periods = view.periods();
    if (view.mpd().has("mediaPresentationDuration") || periods.empty())
        return true;
    return periods.back().element->has("duration") || periods.back().isRemote;
}

/// Whether the periods up to one all stand in the manifest with a known begin and length.
bool isKnown(const DashPeriodView& period) {
    return period.element->has("duration") && !period.isRemote;
}

class DashDuration final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-duration-missing", Severity::Error, "ISO/IEC 23009-1, 5.3.1.2",
        "A recorded presentation without a duration",
        "Players cannot know how many segments there are, nor show a length. Add "
        "mediaPresentationDuration to the MPD, or duration to its last Period."};
    DashDuration()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const auto& documents = look.evidence.documents;
        const bool wasLive = !documents.empty() && documents.front().tree != nullptr &&
                             documents.front().tree->value("type") == "dynamic";
        const std::string type = look.view.mpd().value("type");
        const bool isStatic = type.empty() || type == "static";
        if (isStatic && !wasLive && !hasEnd(look.view))
            look.add(look.view.mpd(),
                     "neither the MPD nor its last Period has a duration, and it is static");
    }
};

class DashUpdatePeriod final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-update-period", Severity::Error, "ISO/IEC 23009-1, 5.3.1.2",
        "A live presentation that has neither an end nor updates",
        "Without minimumUpdatePeriod players never load the manifest again, and miss what comes. "
        "Add minimumUpdatePeriod, or the duration when no more will come."};
    DashUpdatePeriod()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const DashView& view = look.view;
        if (view.isDynamic() && !view.mpd().has("minimumUpdatePeriod") && !hasEnd(view))
            look.add(view.mpd(), "no minimumUpdatePeriod, no mediaPresentationDuration, and no "
                                 "duration of the last Period");
    }
};

class DashPeriodOverlap final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-period-overlap", Severity::Warning, "ISO/IEC 23009-1, 5.3.2.1",
        "A Period begins before the one before it ends",
        "Players disagree about which of the two is played there, and pictures are cut off or come "
        "twice. The start of a Period is the start of the one before and its duration."};
    DashPeriodOverlap()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const auto& periods = look.view.periods();
        for (size_t i = 1; i < periods.size(); ++i) {
            const DashPeriodView& last = periods[i - 1];
            if (!isKnown(last) || !periods[i].isStated)
                continue;
            const double over = last.start + last.duration.value_or(0) - periods[i].start;
            if (over > kRounding)
                look.add(*periods[i].element,
                         "it begins at " + secondsText(periods[i].start) +
                             ", the Period before it ends at " +
                             secondsText(last.start + last.duration.value_or(0)));
        }
    }
};

class DashPeriodGap final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-period-gap", Severity::Warning, "ISO/IEC 23009-1, 5.3.2.1",
        "Nothing is there between two Periods",
        "Players stand still there, or jump over it. The start of a Period is the start of the one "
        "before and its duration."};
    DashPeriodGap()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const auto& periods = look.view.periods();
        for (size_t i = 1; i < periods.size(); ++i) {
            const DashPeriodView& last = periods[i - 1];
            if (!isKnown(last) || !periods[i].isStated)
                continue;
            const double end = last.start + last.duration.value_or(0);
            if (periods[i].start - end > kRounding)
                look.add(*periods[i].element, "it begins at " + secondsText(periods[i].start) +
                                                  ", the Period before it ends at " +
                                                  secondsText(end));
        }
    }
};

class DashDurationSum final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-duration-sum", Severity::Warning, "ISO/IEC 23009-1, 5.3.2.1",
        "The Periods do not last as long as the presentation",
        "The length that is shown is not what is played, and seeking to the end fails. Make "
        "mediaPresentationDuration the end of the last Period."};
    DashDurationSum()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const DashView& view = look.view;
        const auto whole = view.duration("mediaPresentationDuration");
        if (look.hasMedia() || !whole || view.periods().empty() || !isKnown(view.periods().back()))
            return;
        for (const DashPeriodView& it : view.periods()) {
            if (it.isRemote)
                return;
        }
        const DashPeriodView& last = view.periods().back();
        const double end = last.start + last.duration.value_or(0);
        if (std::abs(end - *whole) > kRounding)
            look.add(view.mpd(), "the last Period ends at " + secondsText(end) +
                                     ", mediaPresentationDuration is " + secondsText(*whole));
    }
};

} // namespace

void addDashPeriodRules(Rules& rules) {
    rules.push_back(std::make_unique<DashDuration>());
    rules.push_back(std::make_unique<DashUpdatePeriod>());
    rules.push_back(std::make_unique<DashPeriodOverlap>());
    rules.push_back(std::make_unique<DashPeriodGap>());
    rules.push_back(std::make_unique<DashDurationSum>());
}

} // namespace hastool
