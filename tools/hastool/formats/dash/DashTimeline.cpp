#include "DashTimeline.h"

#include "DashSelection.h"
#include "DashUrls.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace hastool {

double dashEndOf(const DashPeriod& period) {
    return period.start + period.duration.value_or(std::numeric_limits<double>::infinity());
}

DashWindow DashTimeline::window() const {
    const DashManifest& manifest = m_loader.manifest();
    DashWindow window;
    if (!manifest.isDynamic)
        return window;
    window.until = m_loader.liveTime();
    if (manifest.timeShiftDepth)
        window.from = window.until - *manifest.timeShiftDepth;
    return window;
}

/// Without an end, segments that can be had at any time would go on for ever: there the present
/// counts.
DashWindow DashTimeline::window(const DashPeriod& period,
                                const DashRepresentation& representation) const {
    DashWindow window = this->window();
    const double offset = representation.availabilityOffset;
    if (m_isEarly && (std::isfinite(offset) || period.duration))
        window.until += offset;
    return window;
}

double DashTimeline::growsFor(const DashRepresentation& representation,
                              const DashSegment& segment) const {
    if (!m_isEarly || !m_loader.manifest().isDynamic || representation.addressing.isAvailableWhole)
        return 0;
    return std::max(0.0, segment.start + segment.seconds - m_loader.liveTime());
}

std::optional<DashTimeline::Edge> DashTimeline::edge() {
    const auto& periods = m_loader.manifest().periods;
    for (auto period = periods.rbegin(); period != periods.rend(); ++period) {
        const auto all = selectRepresentations(*period, TrackKind::Main, m_choice);
        if (all.empty())
            continue;
        if (const auto last = segments(*period, *all.front()).last(window()))
            return Edge{last->start + last->seconds, last->seconds};
    }
    return std::nullopt;
}

bool DashTimeline::isOver(const DashPeriod& period, double time) const {
    if (!m_loader.manifest().isDynamic)
        return true;
    return std::max(m_loader.liveTime(), time) >= dashEndOf(period) - kDashTolerance;
}

const DashSegmentList& DashTimeline::segments(const DashPeriod& period,
                                              const DashRepresentation& representation) {
    const auto known = m_lists.find(&representation);
    if (known != m_lists.end())
        return known->second;
    const SegmentIndex* const itsIndex = index(representation);
    return m_lists
        .try_emplace(&representation, representation.addressing, period, itsIndex, m_loader.url())
        .first->second;
}

const DashSegmentList* DashTimeline::known(const DashRepresentation& representation) const {
    const auto found = m_lists.find(&representation);
    return found != m_lists.end() ? &found->second : nullptr;
}

const SegmentIndex* DashTimeline::index(const DashRepresentation& representation) {
    const auto resource = DashUrls(representation, m_loader.url()).index();
    if (!resource)
        return nullptr;
    const std::string key = resource->url + " " + rangeText(*resource->range);
    auto known = m_indexes.find(key);
    if (known == m_indexes.end()) {
        const Document document = m_loader.fetch(*resource);
        known = m_indexes
                    .emplace(key, SegmentIndex::parse(document.text, resource->range->first,
                                                      resource->url))
                    .first;
    }
    return &known->second;
}

} // namespace hastool
