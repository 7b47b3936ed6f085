#include "DashSegments.h"

#include "ToolError.h"

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kTolerance = 0.001; // seconds; ends of periods are rounded
constexpr uint64_t kMaxTime = std::numeric_limits<uint64_t>::max() / 2;

/// The whole part of an index that was reckoned, within 0 and the end.
uint64_t clampedIndex(double index, uint64_t end) {
    return index > 0 ? static_cast<uint64_t>(std::min(index, static_cast<double>(end))) : 0;
}

/// Makes the list for one way of addressing.
class Lister {
public:
    Lister(const DashAddressing& addressing, const DashPeriod& period, const DashWindow& window,
           const std::string& where)
        : m_addressing(addressing)
        , m_period(period)
        , m_window(window)
        , m_where(where)
        , m_scale(static_cast<double>(addressing.timescale)) {}

    std::vector<DashSegment> list(const SegmentIndex* index);

private:
    void listTimeline();
    void listRun(const DashRun& run, uint64_t& time, uint64_t end);
    void listDurations();
    void listUrls();
    void listIndex(const SegmentIndex& index);
    void listWhole();

    double periodEnd() const;
    uint64_t numberOf(uint64_t position) const;
    double secondsAt(uint64_t time) const;
    uint64_t endOfRun(size_t i) const;
    bool add(DashSegment segment);

    const DashAddressing& m_addressing;
    const DashPeriod& m_period;
    const DashWindow& m_window;
    const std::string& m_where;
    const double m_scale;
    uint64_t m_position = 0; ///< of the next segment in the period
    std::vector<DashSegment> m_segments;
};

std::vector<DashSegment> Lister::list(const SegmentIndex* index) {
    using Kind = DashAddressing::Kind;
    const bool isTimed = m_addressing.timeline || m_addressing.duration;
    if (index != nullptr)
        listIndex(*index);
    else if (m_addressing.kind == Kind::Template && !isTimed)
        throw ToolError(m_where, "a SegmentTemplate without a duration or a SegmentTimeline");
    else if (m_addressing.kind == Kind::Base || m_addressing.kind == Kind::None || !isTimed)
        listWhole();
    else if (m_addressing.timeline)
        listTimeline();
    else
        listDurations();
    if (m_addressing.kind == Kind::List)
        listUrls();
    return std::move(m_segments);
}

double Lister::periodEnd() const {
    return m_period.start + m_period.duration.value_or(std::numeric_limits<double>::infinity());
}

uint64_t Lister::numberOf(uint64_t position) const {
    if (position > kMaxTime || m_addressing.startNumber > kMaxTime)
        throw ToolError(m_where, "segment numbers that overflow");
    return m_addressing.startNumber + position;
}

/// A media time as one of the presentation; what lies before the offset comes out earlier.
double Lister::secondsAt(uint64_t time) const {
    const uint64_t offset = m_addressing.timeOffset;
    if (time < offset)
        return m_period.start - static_cast<double>(offset - time) / m_scale;
    return m_period.start + static_cast<double>(time - offset) / m_scale;
}

/// @return false when nothing behind it can be in the window
bool Lister::add(DashSegment segment) {
    const double end = segment.start + segment.seconds;
    // What a timeline lists is there, whatever the clock says.
    using Limits = std::numeric_limits<double>;
    const double until = m_addressing.timeline ? Limits::max() : m_window.until;
    const double from = m_addressing.timeline ? Limits::lowest() : m_window.from;
    if (end > until + kTolerance || segment.start > periodEnd() - kTolerance ||
        segment.number > m_addressing.endNumber.value_or(std::numeric_limits<uint64_t>::max()))
        return false;
    if (end <= from + kTolerance || end <= m_period.start + kTolerance)
        return true;
    if (m_segments.size() == kMaxDashSegments)
        throw ToolError(m_where, "more segments than can be handled");
    m_segments.push_back(std::move(segment));
    return true;
}

void Lister::listTimeline() {
    const auto& runs = *m_addressing.timeline;
    uint64_t time = 0;
    for (size_t i = 0; i < runs.size(); ++i)
        listRun(runs[i], time, endOfRun(i));
}

/// Where a run that repeats without a count ends.
uint64_t Lister::endOfRun(size_t i) const {
    const auto& runs = *m_addressing.timeline;
    if (i + 1 < runs.size() && runs[i + 1].time)
        return *runs[i + 1].time;
    const double end = std::min(periodEnd(), m_window.until) - m_period.start;
    const double ticks = end * m_scale + static_cast<double>(m_addressing.timeOffset);
    if (!(ticks > 0) || !std::isfinite(ticks))
        return 0;
    return static_cast<uint64_t>(std::min(std::ceil(ticks), static_cast<double>(kMaxTime)));
}

void Lister::listRun(const DashRun& run, uint64_t& time, uint64_t end) {
    time = run.time.value_or(time);
    uint64_t count = static_cast<uint64_t>(std::max<int64_t>(run.repeats, 0)) + 1;
    if (run.repeats < 0)
        count = end > time ? (end - time - 1) / run.duration + 1 : 1;
    if (run.duration > kMaxTime / count || time > kMaxTime - run.duration * count)
        throw ToolError(m_where, "segment times that overflow");
    // What lies before the window is jumped over where a run has no count: it may be endless.
    const double before = run.repeats < 0 ? (m_window.from - secondsAt(time)) * m_scale : 0;
    const double skipped = std::floor(before / static_cast<double>(run.duration)) - 1;
    bool isWithin = true;
    for (uint64_t i = clampedIndex(skipped, count); i < count && isWithin; ++i) {
        const uint64_t at = time + i * run.duration;
        isWithin = add({secondsAt(at), static_cast<double>(run.duration) / m_scale,
                        numberOf(m_position + i), at, m_addressing.media, std::nullopt});
    }
    time += run.duration * count;
    if (m_position > kMaxTime - count)
        throw ToolError(m_where, "segment numbers that overflow");
    m_position += count;
}

/// Segments of one duration are counted, not walked: a live stream may be running for years.
void Lister::listDurations() {
    const double seconds = static_cast<double>(*m_addressing.duration) / m_scale;
    const double end = std::min(periodEnd(), m_window.until) - m_period.start;
    if (!std::isfinite(end) || end <= 0)
        return;
    const bool isCut = m_window.until < periodEnd(); // then only whole segments are there
    const double exact = end / seconds;
    const double count =
        isCut ? std::floor(exact + kTolerance) : std::ceil(exact - kTolerance / seconds);
    const uint64_t most = kMaxTime / *m_addressing.duration;
    if (count > static_cast<double>(most))
        throw ToolError(m_where, "segment times that overflow");
    const auto last = static_cast<uint64_t>(std::max(count, 0.0));
    uint64_t first = clampedIndex((m_window.from - m_period.start) / seconds, last);
    first = std::max(first, last - std::min(last, kMaxDashSegments));
    for (uint64_t i = first; i < last; ++i) {
        const double start = m_period.start + static_cast<double>(i) * seconds;
        const double length = isCut ? seconds : std::min(seconds, periodEnd() - start);
        const uint64_t time = i * *m_addressing.duration;
        if (!add({start, length, numberOf(i), time, m_addressing.media, std::nullopt}))
            return;
    }
}

/// Puts the URLs of a list to the times.
void Lister::listUrls() {
    if (!m_addressing.list)
        throw ToolError(m_where, "a SegmentList without a SegmentURL");
    const auto& urls = *m_addressing.list;
    size_t kept = 0;
    for (DashSegment& segment : m_segments) {
        const uint64_t i = segment.number - m_addressing.startNumber;
        if (i >= urls.size())
            break;
        segment.media = urls[static_cast<size_t>(i)].media;
        segment.range = urls[static_cast<size_t>(i)].range;
        ++kept;
    }
    m_segments.resize(kept);
}

void Lister::listIndex(const SegmentIndex& index) {
    const auto scale = static_cast<double>(index.timescale);
    const double offset = static_cast<double>(m_addressing.timeOffset) / m_scale;
    for (const SegmentIndex::Entry& entry : index.entries) {
        const double start = m_period.start + static_cast<double>(entry.time) / scale - offset;
        if (!add({start, static_cast<double>(entry.duration) / scale, numberOf(m_position++),
                  entry.time, "", ByteRange{entry.offset, entry.size}}))
            return;
    }
}

/// One segment is the whole period.
void Lister::listWhole() {
    const double length = m_period.duration.value_or(0);
    m_segments.push_back({m_period.start, length, m_addressing.startNumber, 0, "", std::nullopt});
}

} // namespace

std::vector<DashSegment> listDashSegments(const DashAddressing& addressing,
                                          const DashPeriod& period, const DashWindow& window,
                                          const SegmentIndex* index, const std::string& where) {
    return Lister(addressing, period, window, where).list(index);
}

} // namespace hastool
