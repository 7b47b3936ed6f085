#include <hastool/base/Quantities.h>
#include <hastool/check/DashStates.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SmoothRule.h>

#include <algorithm>

namespace hastool {
namespace {

class SmoothDuration final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-duration", Severity::Error, "[MS-SSTR] 2.2.2.1",
        "A recorded presentation without a Duration",
        "Players show no length, and cannot seek. Write the length in units of TimeScale."};
    SmoothDuration()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        const ManifestElement& manifest = look.manifest();
        const bool isMissing = !manifest.has("Duration");
        if (!look.isLive() && (isMissing || smoothNumber(manifest, "Duration") == 0U))
            look.add(manifest, isMissing ? "no Duration" : "Duration is 0");
    }
};

class SmoothChunkCount final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-chunk-count", Severity::Warning, "[MS-SSTR] 2.2.2",
        "Chunks is not the number of fragments",
        "Players that go by it stop early, or ask for what is not there. Write as many as the c "
        "elements stand for."};
    SmoothChunkCount()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : look.streams()) {
            const auto stated = smoothNumber(*it, "Chunks");
            const auto runs = smoothRuns(*it);
            if (!stated || !runs || look.isLive())
                continue;
            uint64_t count = 0;
            for (const SmoothRun& run : *runs)
                count += std::min<uint64_t>(run.count, UINT32_MAX);
            if (*stated != count)
                look.add(*it, "Chunks is " + std::to_string(*stated) + ", there are " +
                                  std::to_string(count));
        }
    }
};

/// A rule about fragments that follow each other.
class SmoothFollowRule : public SmoothRule {
public:
    using SmoothRule::SmoothRule;

protected:
    struct Step {
        double before = 0; ///< seconds at which the one before ends
        double begin = 0;
        double start = 0; ///< of the one before
    };
    virtual bool isBroken(const Step& step) const = 0;
    virtual const char* what() const = 0;

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const stream : look.streams()) {
            const auto runs = smoothRuns(*stream);
            if (!runs || smoothType(*stream) == "text") // text is not there all the time
                continue;
            const auto scale = static_cast<double>(look.timescaleOf(*stream));
            for (size_t i = 1; i < runs->size(); ++i) {
                const SmoothRun& last = (*runs)[i - 1];
                const SmoothRun& next = (*runs)[i];
                const Step step{static_cast<double>(last.end()) / scale,
                                static_cast<double>(next.time) / scale,
                                static_cast<double>(last.time) / scale};
                if ((last.duration || step.begin <= step.start) && isBroken(step))
                    look.add(*next.element, "it begins at " + exactSeconds(step.begin) +
                                                ", the one before it " + what() + " " +
                                                exactSeconds(step.before));
            }
        }
    }
};

class SmoothChunkOrder final : public SmoothFollowRule {
public:
    static constexpr RuleCard kCard{
        "smooth-chunk-order", Severity::Error, "[MS-SSTR] 2.2.2", "Fragments overlap, or go back",
        "Players leave fragments out, play a part twice or stop. A fragment begins where the one "
        "before it ends."};
    SmoothChunkOrder()
        : SmoothFollowRule(kCard) {}

private:
    static constexpr double kRounding = 0.1; // seconds: audio is cut where its frames end

    bool isBroken(const Step& step) const override {
        return step.begin <= step.start || step.before - step.begin > kRounding;
    }
    const char* what() const override { return "ends at"; }
};

class SmoothChunkGap final : public SmoothFollowRule {
public:
    static constexpr RuleCard kCard{
        "smooth-chunk-gap", Severity::Warning, "[MS-SSTR] 2.2.2",
        "There is a gap between two fragments",
        "Players stand still there, or jump over it if they can. A fragment begins where the one "
        "before it ends."};
    SmoothChunkGap()
        : SmoothFollowRule(kCard) {}

private:
    static constexpr double kNoticed = 0.2; // seconds

    bool isBroken(const Step& step) const override { return step.begin - step.before > kNoticed; }
    const char* what() const override { return "ends at"; }
};

class SmoothShort final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-segments-short", Severity::Warning, "[MS-SSTR] 2.2.2",
        "Fragments end before the presentation does",
        "Players wait at the end for what never comes. List all fragments, or make Duration as "
        "long as they are."};
    SmoothShort()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        constexpr uint64_t kUsual = 10000000;
        const auto duration = smoothNumber(look.manifest(), "Duration");
        const auto whole = smoothNumber(look.manifest(), "TimeScale").value_or(kUsual);
        if (!duration || whole == 0 || look.isLive())
            return;
        const double end = static_cast<double>(*duration) / static_cast<double>(whole);
        for (const ManifestElement* const stream : look.streams()) {
            const auto runs = smoothRuns(*stream);
            if (!runs || runs->empty() || !runs->back().duration || smoothType(*stream) == "text")
                continue;
            const auto scale = static_cast<double>(look.timescaleOf(*stream));
            uint64_t longest = 0;
            for (const SmoothRun& run : *runs)
                longest = std::max(longest, run.duration.value_or(0));
            const double last =
                static_cast<double>(runs->back().end() - runs->front().time) / scale;
            if (last + std::max(1.0, static_cast<double>(longest) / scale) < end)
                look.add(*stream, "they last " + exactSeconds(last) + ", the presentation " +
                                      exactSeconds(end));
        }
    }
};

} // namespace

void addSmoothTimeRules(Rules& rules) {
    rules.push_back(std::make_unique<SmoothDuration>());
    rules.push_back(std::make_unique<SmoothChunkCount>());
    rules.push_back(std::make_unique<SmoothChunkOrder>());
    rules.push_back(std::make_unique<SmoothChunkGap>());
    rules.push_back(std::make_unique<SmoothShort>());
}

} // namespace hastool
