// Which segments of a DASH presentation are available at a time.
#pragma once

#include "DashLoader.h"
#include "DashSegments.h"
#include "SegmentIndex.h"
#include <hastool/formats/RenditionChoice.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace hastool {

/// The segments of all periods, by the manifest as it is now.
class DashTimeline {
public:
    /// The end of what a live presentation has so far.
    struct Edge {
        double time = 0;    ///< seconds of the presentation
        double segment = 0; ///< length of the last segment, in seconds
    };

    /// @param loader  borrowed
    /// @param choice  which renditions are played
    /// @param early   whether segments are asked for as early as the manifest allows
    DashTimeline(const DashLoader& loader, RenditionChoice choice, bool early)
        : m_loader(loader)
        , m_choice(std::move(choice))
        , m_isEarly(early) {}

    /// To be called when the manifest has been loaded again: drops the lists made from the old one.
    void forget() { m_lists.clear(); }

    /// What can be had now: all of a static presentation; of a dynamic one what its server has by
    /// now and still keeps.
    DashWindow window() const;
    /// The same for one representation, whose segments may be there earlier.
    DashWindow window(const DashPeriod& period, const DashRepresentation& representation) const;
    /// How much of a segment is still to be made, in seconds; 0 where it is there as a whole.
    double growsFor(const DashRepresentation& representation, const DashSegment& segment) const;
    /// Where the last available segment of the main track ends; nothing while there is no segment.
    std::optional<Edge> edge();
    /// Whether nothing will be added to a period.
    /// @param time  up to which it was read, in seconds
    bool isOver(const DashPeriod& period, double time) const;
    /// The segments of a representation; valid until forget(). May fetch its index.
    /// @throws ToolError for one that cannot be used
    const DashSegmentList& segments(const DashPeriod& period,
                                    const DashRepresentation& representation);

    /// The same where it is known without fetching anything; else null.
    const DashSegmentList* known(const DashRepresentation& representation) const;

private:
    const SegmentIndex* index(const DashRepresentation& representation);

    const DashLoader& m_loader;
    const RenditionChoice m_choice;
    const bool m_isEarly;
    std::map<const DashRepresentation*, DashSegmentList> m_lists; ///< of the current manifest
    std::map<std::string, SegmentIndex> m_indexes;                ///< by URL and range
};

/// Times of periods that differ by less, in seconds, count as the same: manifests round them.
constexpr double kDashTolerance = 0.001;

/// When a period ends, in seconds of the presentation; never where that is not known.
double dashEndOf(const DashPeriod& period);

} // namespace hastool
