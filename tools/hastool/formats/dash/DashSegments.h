// The segments that the addressing of a DASH manifest stands for.
#pragma once

#include "DashManifest.h"
#include "SegmentIndex.h"
#include <hastool/net/ByteRange.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One segment of a representation.
struct DashSegment {
    double start = 0; ///< seconds since the begin of the presentation
    double seconds = 0;
    uint64_t number = 0;
    uint64_t time = 0; ///< in units of the timescale, as the URL has it
    std::string
        media; ///< as written; empty for the BaseURL itself. A template is not expanded yet.
    std::optional<ByteRange> range;
};

/// The stretch of the presentation whose segments there are, in seconds.
struct DashWindow {
    double from = 0;
    double until = std::numeric_limits<double>::infinity();
};

/// How many segments there are, and how long, in seconds.
struct DashLengths {
    uint64_t count = 0;
    double shortest = 0;
    double longest = 0;
    double sum = 0;
    double start = 0; ///< of the first, since the begin of the presentation
};

/// The segments of one representation in one period. Each is made when it is asked for: a run costs
/// the same whether it has one segment or a million.
///
/// They come in order, each beginning behind the one before: what a timeline lists out of order is
/// left out. Segments that end before the period begins, or begin where it ends or later, are left
/// out too. A segment is available when it lies wholly in the window; those that a timeline lists
/// with a count are always available.
class DashSegmentList {
public:
    /// @param addressing  borrowed
    /// @param index       what the representation's index range holds, borrowed; null when there is
    ///                    no such range
    /// @param where       names the manifest in messages. @throws ToolError for numbers that
    ///                    overflow, and for a list without URLs
    DashSegmentList(const DashAddressing& addressing, const DashPeriod& period,
                    const SegmentIndex* index, const std::string& where);

    /// The first available segment of which more than a small part lies behind a time.
    std::optional<DashSegment> at(double seconds, const DashWindow& window) const;
    /// The first available segment behind another one, which may come from an earlier state of the
    /// same manifest.
    std::optional<DashSegment> behind(const DashSegment& last, const DashWindow& window) const;
    /// The last available segment.
    std::optional<DashSegment> last(const DashWindow& window) const;
    /// All available segments together, without making each of them.
    DashLengths lengths(const DashWindow& window) const;

private:
    /// Segments of one duration, one after the other, up to the next run.
    struct Run {
        uint64_t position = 0; ///< of its first segment, in this list
        uint64_t time = 0;
        uint64_t duration = 0;
        uint64_t number = 0;
        bool isClocked = true; ///< the window says which of them are available
    };

    void addTimeline(const std::string& where);
    void addDurations(const std::string& where);
    void addWhole(const std::string& where);
    void addIndex(const std::string& where);
    void addRun(const Run& run, uint64_t count);
    void clip(const std::string& where);
    uint64_t ticksTo(double end) const;
    double periodEnd() const;
    double startOf(uint64_t time) const;

    const Run& runOf(uint64_t position) const;
    DashSegment placeAt(uint64_t position) const;
    DashSegment segmentAt(uint64_t position) const;
    std::optional<DashSegment> firstFrom(uint64_t position, const DashWindow& window) const;
    uint64_t firstPosition(uint64_t position, const DashWindow& window) const;
    uint64_t endPosition(const DashWindow& window) const;
    bool isAvailable(uint64_t position, const DashWindow& window) const;
    template<typename Predicate>
    uint64_t partition(const Predicate& isBefore) const;

    const DashAddressing& m_addressing;
    const SegmentIndex* m_index;
    double m_periodStart;
    std::optional<double> m_periodSeconds;
    double m_scale;
    std::vector<Run> m_runs;
    uint64_t m_first = 0; ///< positions from here to m_end are in the period
    uint64_t m_end = 0;
};

/// The length of a segment in seconds; a small one where it is not known, so that time moves on.
double dashLength(const DashSegment& segment);

/// @throws ToolError for a timeline whose times overflow
void checkDashTimeline(const std::vector<DashRun>& runs, const std::string& where);

} // namespace hastool
