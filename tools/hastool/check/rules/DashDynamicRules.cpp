#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Quantities.h>

#include <algorithm>

namespace hastool {
namespace {

/// A live presentation that lacks an attribute of its MPD.
class DashLacks : public DashRule {
public:
    DashLacks(const RuleCard& card, const char* attribute)
        : DashRule(card)
        , m_attribute(attribute) {}

private:
    void look(const Look& look) const override {
        if (look.view.isDynamic() && !look.view.mpd().has(m_attribute))
            look.add(look.view.mpd(), std::string("no ") + m_attribute + ", and it is dynamic");
    }

    const char* m_attribute;
};

class DashStartTime final : public DashLacks {
public:
    static constexpr RuleCard kCard{
        "dash-start-time", Severity::Error, "ISO/IEC 23009-1, 5.3.1.2",
        "A live presentation without availabilityStartTime",
        "Players cannot tell which segments there are by now. Add the time that its segments are "
        "counted from."};
    DashStartTime()
        : DashLacks(kCard, "availabilityStartTime") {}
};

class DashPublishTime final : public DashLacks {
public:
    static constexpr RuleCard kCard{
        "dash-publish-time", Severity::Warning, "ISO/IEC 23009-1, 5.3.1.2",
        "A live presentation without publishTime",
        "Players cannot tell a newer state of the manifest from an older one that a cache still "
        "holds. Add the time that it was written at."};
    DashPublishTime()
        : DashLacks(kCard, "publishTime") {}
};

class DashDelay final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-delay", Severity::Note, "ISO/IEC 23009-1, 5.3.1.2",
        "A live presentation without suggestedPresentationDelay",
        "Each player stays as far behind live as it likes, so that viewers see the same at "
        "different times."};
    DashDelay()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const ManifestElement& mpd = look.view.mpd();
        const ManifestElement* const service = mpd.child("ServiceDescription");
        const bool hasTarget = service != nullptr && service->child("Latency") != nullptr;
        if (look.view.isDynamic() && !hasTarget && !mpd.has("suggestedPresentationDelay"))
            look.add(mpd, "no suggestedPresentationDelay and no Latency, and it is dynamic");
    }
};

class DashClockMissing final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-clock-missing", Severity::Warning, "DASH-IF IOP 4.3, 4.7",
        "A live presentation without UTCTiming",
        "Players whose clock is wrong ask for segments that are not there yet, or that are gone. "
        "Add a UTCTiming that names the server's clock."};
    DashClockMissing()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        if (look.view.isDynamic() && look.view.mpd().child("UTCTiming") == nullptr)
            look.add(look.view.mpd(), "no UTCTiming, and it is dynamic");
    }
};

class DashWindowShort final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-window-short", Severity::Warning, "ISO/IEC 23009-1, 5.3.1.2",
        "timeShiftBufferDepth is shorter than two segments",
        "A player that is a moment late finds its segment gone. Keep several segments."};
    DashWindowShort()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const DashView& view = look.view;
        const auto depth = view.duration("timeShiftBufferDepth");
        if (!view.isDynamic() || !depth)
            return;
        double longest = 0;
        for (const DashRepresentationView& it : view.representations()) {
            const DashSegmenting segments = it.segmenting();
            for (const DashStretch& one : segments.stretches().value_or(std::vector<DashStretch>()))
                longest = std::max(longest, segments.seconds(one.duration));
            if (segments.timeline == nullptr)
                longest = std::max(longest, segments.seconds(segments.duration.value_or(0)));
        }
        if (*depth < 2 * longest)
            look.add(view.mpd(), "it is " + secondsText(*depth) + ", and there are segments of " +
                                     secondsText(longest));
    }
};

} // namespace

void addDashDynamicRules(Rules& rules) {
    rules.push_back(std::make_unique<DashStartTime>());
    rules.push_back(std::make_unique<DashPublishTime>());
    rules.push_back(std::make_unique<DashDelay>());
    rules.push_back(std::make_unique<DashClockMissing>());
    rules.push_back(std::make_unique<DashWindowShort>());
}

} // namespace hastool
