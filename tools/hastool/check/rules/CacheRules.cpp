#include <hastool/check/DashView.h>
#include <hastool/check/Delivered.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Number.h>
#include <hastool/base/Quantities.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace hastool {
namespace {

/// What a response's Cache-Control says (RFC 9111, 5.2.2).
struct CacheControl {
    explicit CacheControl(const Answer& answer) {
        const std::string field = lowered(answer.head.field("Cache-Control"));
        for (size_t at = 0; at < field.size();) {
            const size_t end = std::min(field.find(',', at), field.size());
            read(trimmed(field.substr(at, end - at)));
            at = end + 1;
        }
    }

    std::set<std::string> words;
    std::optional<uint64_t> age; ///< the longest time that a cache may keep it, seconds

    bool has(const char* word) const { return words.count(word) != 0; }

private:
    void read(const std::string& directive) {
        const size_t equals = std::min(directive.find('='), directive.size());
        const std::string name = trimmed(directive.substr(0, equals));
        words.insert(name);
        if (equals == directive.size() || (name != "max-age" && name != "s-maxage"))
            return;
        std::string number = trimmed(directive.substr(equals + 1));
        number.erase(std::remove(number.begin(), number.end(), '"'), number.end());
        if (const auto seconds = parseUnsigned(number))
            age = std::max(age.value_or(0), *seconds);
    }
};

double longestSegment(const Evidence& evidence) {
    double longest = 0;
    for (const CheckedRendition& rendition : evidence.renditions) {
        for (const CheckedSegment& segment : rendition.segments)
            longest = std::max(longest, segment.seconds);
    }
    return longest;
}

/// Seconds after which players load a live document again; 0 for what they do not.
double reloadTime(const Evidence& evidence, const Delivered& it) {
    if (!evidence.isLive || !it.isText() || !it.isJudged())
        return 0;
    if (it.playlist != nullptr)
        return it.playlist->ended ? 0 : it.playlist->targetSeconds;
    if (evidence.format == CheckedFormat::Smooth)
        return longestSegment(evidence);
    if (evidence.format == CheckedFormat::Hls || it.document->tree == nullptr)
        return 0;
    const auto update = dashSeconds(*it.document->tree, "minimumUpdatePeriod");
    return update ? std::max(*update, longestSegment(evidence)) : 0;
}

/// A rule about live documents that caches keep longer than players wait.
class LiveCacheRule : public Rule {
public:
    LiveCacheRule(const RuleCard& card, double least, double most)
        : m_card(card)
        , m_least(least)
        , m_most(most) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override {
        std::set<std::string> told;
        for (const Delivered& it : deliveredIn(evidence)) {
            const double reload = reloadTime(evidence, it);
            const CacheControl control(*it.answer);
            if (reload <= 0 || !control.age || control.has("no-cache") || control.has("no-store"))
                continue;
            const double kept = static_cast<double>(*control.age);
            const double whole = std::max(1.0, std::ceil(reload)); // ages are whole seconds
            if (kept > m_least * whole && kept <= m_most * whole && told.insert(it.url()).second)
                findings.add(m_card, it.place(),
                             std::string(it.name()) + " may be kept for " + secondsText(kept) +
                                 ", players load it every " + secondsText(reload));
        }
    }

private:
    const RuleCard& m_card;
    const double m_least; ///< of the reload time, not with it
    const double m_most;
};

constexpr double kMuchTooLong = 3; // reload times: by then players have run dry
constexpr double kNever = 1e18;

class HttpLiveCache final : public LiveCacheRule {
public:
    static constexpr RuleCard kCard{
        "http-live-cache", Severity::Error, "RFC 8216, 6.2.2; RFC 9111, 5.2.2",
        "Caches keep a live manifest or playlist until players have run dry",
        "Players get the same again and again, and stand still. Allow caches at most half of the "
        "time after which players load it again."};
    HttpLiveCache()
        : LiveCacheRule(kCard, kMuchTooLong, kNever) {}
};

class HttpLiveCacheLong final : public LiveCacheRule {
public:
    static constexpr RuleCard kCard{
        "http-live-cache-long", Severity::Warning, "RFC 8216, 6.2.2; RFC 9111, 5.2.2",
        "Caches keep a live manifest or playlist longer than players wait for it",
        "Players learn of new segments late, and those close to live stand still now and then. "
        "Allow caches at most half of the time after which players load it again."};
    HttpLiveCacheLong()
        : LiveCacheRule(kCard, 1, kMuchTooLong) {}
};

class HttpSegmentCache final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-segment-cache", Severity::Note, "RFC 9111, 5.2.2", "Caches may not keep segments",
        "Every viewer's request goes to the origin, and a cache is of no use. Segments do not "
        "change: allow caches to keep them for as long as they are named."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        std::set<const CheckedRendition*> told;
        for (const Delivered& it : deliveredIn(evidence)) {
            if (!it.isJudged() || it.kind != Delivered::Kind::Segment)
                continue;
            const CacheControl control(*it.answer);
            const bool isKept = !control.has("no-store") && !control.has("no-cache") &&
                                !control.has("private") && control.age.value_or(1) > 0;
            if (!isKept && told.insert(it.rendition).second)
                findings.add(kCard, it.place(),
                             "Cache-Control: " + it.answer->head.field("Cache-Control"));
        }
    }
};

} // namespace

void addCacheRules(Rules& rules) {
    rules.push_back(std::make_unique<HttpLiveCache>());
    rules.push_back(std::make_unique<HttpLiveCacheLong>());
    rules.push_back(std::make_unique<HttpSegmentCache>());
}

} // namespace hastool
