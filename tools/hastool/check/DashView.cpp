#include "DashView.h"

#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace hastool {
namespace {

constexpr uint64_t kMaxTicks = std::numeric_limits<uint64_t>::max() / 4;

/// The element of a kind in a level; null where it has none.
const ManifestElement* segmentElement(const ManifestElement& level) {
    for (const char* const name : {"SegmentTemplate", "SegmentList", "SegmentBase"}) {
        if (const auto* const found = level.child(name))
            return found;
    }
    return nullptr;
}

DashSegmenting::Kind kindOf(const std::string& name) {
    if (name == "SegmentTemplate")
        return DashSegmenting::Kind::Template;
    return name == "SegmentList" ? DashSegmenting::Kind::List : DashSegmenting::Kind::Base;
}

/// Takes over what an outer element says and the inner ones do not.
void add(const ManifestElement& element, DashSegmenting& result, std::vector<std::string>& known) {
    const auto take = [&](const char* name, auto& field) {
        const auto value = dashNumber(element, name);
        if (!value || std::find(known.begin(), known.end(), name) != known.end())
            return;
        field = *value;
        known.emplace_back(name);
    };
    take("timescale", result.timescale);
    take("presentationTimeOffset", result.timeOffset);
    take("startNumber", result.startNumber);
    take("duration", result.duration);
    take("endNumber", result.endNumber);
    if (!result.media && element.has("media"))
        result.media = element.value("media");
    if (!result.initialization && element.has("initialization"))
        result.initialization = element.value("initialization");
    if (result.timeline == nullptr)
        result.timeline = element.child("SegmentTimeline");
    if (result.list == nullptr && element.child("SegmentURL") != nullptr)
        result.list = &element;
}

/// How often a stretch's segment comes; 0 where that is not known.
std::optional<uint64_t> countOf(const ManifestElement& element, const DashStretch& stretch,
                                const ManifestElement* next) {
    const std::string repeats = element.value("r");
    if (repeats.empty() || repeats.front() != '-') {
        const auto number = parseUnsigned(repeats.empty() ? "0" : repeats);
        return number && *number < kMaxTicks ? std::optional(*number + 1) : std::nullopt;
    }
    if (next == nullptr)
        return 0;
    const auto end = dashNumber(*next, "t");
    if (!end || *end <= stretch.time)
        return std::nullopt;
    return (*end - stretch.time + stretch.duration - 1) / stretch.duration;
}

} // namespace

bool isDashNameSpace(const std::string& nameSpace) {
    return lowered(nameSpace) == "urn:mpeg:dash:schema:mpd:2011";
}

bool isRemoteElement(const ManifestElement& element) {
    return !element.value("href").empty();
}

std::optional<uint64_t> dashNumber(const ManifestElement& element, const char* name) {
    const std::string* const text = element.attribute(name);
    const auto number = text != nullptr ? parseUnsigned(*text) : std::nullopt;
    return number && *number <= kMaxTicks ? number : std::nullopt;
}

std::optional<double> dashSeconds(const ManifestElement& element, const char* name) {
    const std::string* const text = element.attribute(name);
    return text != nullptr ? parseIsoDuration(*text) : std::nullopt;
}

std::optional<std::vector<DashStretch>> DashSegmenting::stretches() const {
    std::vector<DashStretch> result;
    const auto all =
        timeline != nullptr ? timeline->all("S") : std::vector<const ManifestElement*>();
    uint64_t time = 0;
    uint64_t number = startNumber;
    for (size_t i = 0; i < all.size(); ++i) {
        DashStretch it;
        it.element = all[i];
        it.isStated = all[i]->has("t");
        it.number = dashNumber(*all[i], "n").value_or(number);
        const auto stated = dashNumber(*all[i], "t");
        it.duration = dashNumber(*all[i], "d").value_or(0);
        if ((it.isStated && !stated) || it.duration == 0)
            return std::nullopt;
        it.time = stated.value_or(time);
        const auto count = countOf(*all[i], it, i + 1 < all.size() ? all[i + 1] : nullptr);
        if (!count || *count > kMaxTicks / it.duration)
            return std::nullopt;
        it.count = *count;
        time = it.end();
        number = it.number + it.count;
        if (time > kMaxTicks || number > kMaxTicks)
            return std::nullopt;
        result.push_back(it);
    }
    return result;
}

std::string DashRepresentationView::inherited(const char* name) const {
    const std::string own = element->value(name);
    return own.empty() ? set->value(name) : own;
}

const ManifestElement* DashRepresentationView::inheritedElement(const char* name) const {
    const ManifestElement* const own = element->child(name);
    return own != nullptr ? own : set->child(name);
}

std::string DashRepresentationView::type() const {
    const std::string mimeType = lowered(inherited("mimeType"));
    const std::string codecs = inherited("codecs");
    if (codecs.rfind("stpp", 0) == 0 || codecs.rfind("wvtt", 0) == 0)
        return "text";
    if (!mimeType.empty() && mimeType.rfind("application/", 0) != 0)
        return mimeType.substr(0, mimeType.find('/'));
    return lowered(set->value("contentType"));
}

DashSegmenting DashRepresentationView::segmenting() const {
    DashSegmenting result;
    std::vector<std::string> known;
    for (const ManifestElement* level : {element, set, set->parent}) {
        const ManifestElement* const found = segmentElement(*level);
        if (found == nullptr)
            continue;
        if (result.element == nullptr) {
            result.element = found;
            result.kind = kindOf(found->name);
        }
        if (kindOf(found->name) == result.kind)
            add(*found, result, known);
    }
    result.timescale = std::max<uint64_t>(result.timescale, 1);
    return result;
}

std::vector<const ManifestElement*> DashRepresentationView::bases() const {
    std::vector<const ManifestElement*> found;
    for (const ManifestElement* level = element; level != nullptr; level = level->parent) {
        if (const auto* const base = level->child("BaseURL"))
            found.insert(found.begin(), base);
    }
    return found;
}

DashView::DashView(const CheckedDocument& document)
    : m_document(document) {
    for (const ManifestElement* const it : mpd().all("Period"))
        addPeriod(*it);
    completeTimes();
}

std::optional<double> DashView::duration(const char* name) const {
    return dashSeconds(mpd(), name);
}

void DashView::addPeriod(const ManifestElement& element) {
    DashPeriodView period;
    period.element = &element;
    period.isStated = element.has("start");
    period.duration = dashSeconds(element, "duration");
    period.isRemote = isRemoteElement(element);
    const double end =
        m_periods.empty() ? 0 : m_periods.back().start + m_periods.back().duration.value_or(0);
    period.start = dashSeconds(element, "start").value_or(end);
    for (const ManifestElement* const set : element.all("AdaptationSet")) {
        for (const ManifestElement* const it : set->all("Representation"))
            m_all.push_back({it, set, m_periods.size()});
    }
    m_periods.push_back(period);
}

/// A period without a duration lasts to the next one, or to the presentation's end.
void DashView::completeTimes() {
    for (size_t i = 0; i < m_periods.size(); ++i) {
        const bool isLast = i + 1 == m_periods.size();
        const auto end =
            isLast ? duration("mediaPresentationDuration") : std::optional(m_periods[i + 1].start);
        if (!m_periods[i].duration && end && *end >= m_periods[i].start)
            m_periods[i].duration = *end - m_periods[i].start;
    }
}

std::vector<DashRepresentationView> DashView::of(const ManifestElement& set) const {
    std::vector<DashRepresentationView> found;
    std::copy_if(m_all.begin(), m_all.end(), std::back_inserter(found),
                 [&](const DashRepresentationView& it) { return it.set == &set; });
    return found;
}

std::vector<const ManifestElement*> DashView::sets() const {
    std::vector<const ManifestElement*> found;
    for (const DashPeriodView& period : m_periods) {
        const auto sets = period.element->all("AdaptationSet");
        found.insert(found.end(), sets.begin(), sets.end());
    }
    return found;
}

} // namespace hastool
