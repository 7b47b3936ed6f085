#include "DashSegments.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kTolerance = 0.001;        // seconds; ends of periods are rounded
constexpr double kBoundaryTolerance = 0.25; // of a segment: streams are cut nearly alike
constexpr uint64_t kMaxTime = std::numeric_limits<uint64_t>::max() / 4;

/// Where a run with a count ends. @throws ToolError when that overflows
uint64_t endOfRun(uint64_t time, const DashRun& run, const std::string& where) {
    const uint64_t count = static_cast<uint64_t>(std::max<int64_t>(run.repeats, 0)) + 1;
    if (run.duration > kMaxTime / count || time > kMaxTime - run.duration * count)
        throw ToolError(where, "segment times that overflow");
    return time + run.duration * count;
}

} // namespace

double dashLength(const DashSegment& segment) {
    return std::max(segment.seconds, kTolerance);
}

void checkDashTimeline(const std::vector<DashRun>& runs, const std::string& where) {
    uint64_t time = 0;
    for (const DashRun& run : runs)
        time = endOfRun(run.time.value_or(time), run, where);
}

DashSegmentList::DashSegmentList(const DashAddressing& addressing, const DashPeriod& period,
                                 const SegmentIndex* index, const std::string& where)
    : m_addressing(addressing)
    , m_index(index)
    , m_periodStart(period.start)
    , m_periodSeconds(period.duration)
    , m_scale(static_cast<double>(index != nullptr ? index->timescale : addressing.timescale)) {
    if (m_addressing.startNumber > kMaxTime)
        throw ToolError(where, "segment numbers that overflow");
    if (index != nullptr)
        addIndex(where);
    else if (m_addressing.timeline)
        addTimeline(where);
    else if (m_addressing.duration)
        addDurations(where);
    else
        addWhole(where);
    clip(where);
}

double DashSegmentList::periodEnd() const {
    return m_periodStart + m_periodSeconds.value_or(std::numeric_limits<double>::infinity());
}

/// Seconds since the begin of the period in units of the timescale, rounded up.
uint64_t DashSegmentList::ticksTo(double seconds) const {
    const double ticks = std::ceil((seconds - kTolerance) * m_scale);
    return ticks > 0 ? static_cast<uint64_t>(std::min(ticks, static_cast<double>(kMaxTime))) : 0;
}

/// Adds a run without those of its segments that do not begin behind the last one.
void DashSegmentList::addRun(const Run& run, uint64_t count) {
    Run next = run;
    next.position = m_end;
    if (m_end > 0 && m_index == nullptr) {
        const Run& before = m_runs.back();
        const uint64_t last = before.time + (m_end - 1 - before.position) * before.duration;
        const uint64_t skipped =
            run.time > last ? 0 : std::min((last - run.time) / run.duration + 1, count);
        next.time += skipped * run.duration;
        next.number += skipped;
        count -= skipped;
    }
    if (count == 0)
        return;
    m_runs.push_back(next);
    m_end += count;
}

/// A run without a count goes up to the next time that is written, or to the end of the period.
void DashSegmentList::addTimeline(const std::string& where) {
    const auto& runs = *m_addressing.timeline;
    uint64_t time = 0;
    uint64_t number = m_addressing.startNumber;
    for (size_t i = 0; i < runs.size(); ++i) {
        time = runs[i].time.value_or(time);
        uint64_t end = endOfRun(time, runs[i], where);
        const bool isBounded = i + 1 < runs.size() && runs[i + 1].time;
        const bool isClocked = runs[i].repeats < 0 && !isBounded;
        if (isClocked)
            end = m_periodSeconds ? ticksTo(*m_periodSeconds) + m_addressing.timeOffset : kMaxTime;
        else if (runs[i].repeats < 0)
            end = *runs[i + 1].time;
        const uint64_t length = std::max(std::min(end, kMaxTime), time) - time;
        const uint64_t count =
            std::max<uint64_t>((length + runs[i].duration - 1) / runs[i].duration, 1);
        addRun({0, time, runs[i].duration, number, isClocked}, count);
        number += count;
        time += count * runs[i].duration;
        if (time > kMaxTime)
            return;
    }
}

void DashSegmentList::addDurations(const std::string& where) {
    const uint64_t duration = *m_addressing.duration;
    const uint64_t most = kMaxTime / duration;
    const double exact = m_periodSeconds.value_or(0) * m_scale / static_cast<double>(duration);
    if (exact > static_cast<double>(most))
        throw ToolError(where, "segment times that overflow");
    const uint64_t ticks = ticksTo(m_periodSeconds.value_or(0));
    const uint64_t count =
        m_periodSeconds ? ticks / duration + (ticks % duration > 0 ? 1 : 0) : most;
    addRun({0, 0, duration, m_addressing.startNumber, true}, count);
}

/// Without times, one segment is the whole period. A list of several breaks the rules; each gets an
/// equal share of the period where its length is known.
void DashSegmentList::addWhole(const std::string& where) {
    const uint64_t count = m_addressing.list ? m_addressing.list->size() : 1;
    if (m_addressing.kind != DashAddressing::Kind::List || count == 1) {
        addRun({0, 0, 0, m_addressing.startNumber, false}, 1);
        return;
    }
    m_scale = static_cast<double>(count) / m_periodSeconds.value_or(0);
    if (!std::isfinite(m_scale))
        throw ToolError(where, "a SegmentList of several segments without a duration");
    addRun({0, 0, 1, m_addressing.startNumber, false}, count);
}

void DashSegmentList::addIndex(const std::string& where) {
    uint64_t number = m_addressing.startNumber;
    for (const SegmentIndex::Entry& entry : m_index->entries) {
        if (entry.time > kMaxTime || entry.duration > kMaxTime)
            throw ToolError(where, "segment times that overflow");
        addRun({0, entry.time, entry.duration, number++, true}, 1);
    }
}

/// Leaves out what is beyond the list, the last number or the period.
void DashSegmentList::clip(const std::string& where) {
    if (m_addressing.kind == DashAddressing::Kind::List) {
        if (!m_addressing.list)
            throw ToolError(where, "a SegmentList without a SegmentURL");
        m_end = std::min<uint64_t>(m_end, m_addressing.list->size());
    }
    if (m_addressing.endNumber)
        m_end =
            partition([&](const DashSegment& it) { return it.number <= *m_addressing.endNumber; });
    const bool isWhole = m_index == nullptr && !m_addressing.timeline && !m_addressing.duration;
    if (isWhole)
        return;
    m_end = partition([&](const DashSegment& it) { return it.start <= periodEnd() - kTolerance; });
    m_first = partition([&](const DashSegment& it) {
        const double tolerance = std::min(kTolerance, it.seconds / 4);
        return it.start + it.seconds <= m_periodStart + tolerance;
    });
}

/// A media time as a time of the presentation; one before the offset lies before the period.
double DashSegmentList::startOf(uint64_t time) const {
    if (m_index != nullptr) // the offset has the manifest's timescale
        return m_periodStart + static_cast<double>(time) / m_scale -
               static_cast<double>(m_addressing.timeOffset) /
                   static_cast<double>(m_addressing.timescale);
    const uint64_t offset = m_addressing.timeline ? m_addressing.timeOffset : 0;
    if (time < offset)
        return m_periodStart - static_cast<double>(offset - time) / m_scale;
    return m_periodStart + static_cast<double>(time - offset) / m_scale;
}

const DashSegmentList::Run& DashSegmentList::runOf(uint64_t position) const {
    const auto next =
        std::upper_bound(m_runs.begin(), m_runs.end(), position,
                         [](uint64_t wanted, const Run& run) { return wanted < run.position; });
    return *(next - 1);
}

/// A segment's place in time, without its URL and range: a search looks at many of them.
DashSegment DashSegmentList::placeAt(uint64_t position) const {
    const Run& run = runOf(position);
    const uint64_t i = position - run.position;
    DashSegment segment;
    segment.time = run.time + i * run.duration;
    segment.number = run.number + i;
    segment.start = startOf(segment.time);
    segment.seconds = static_cast<double>(run.duration) / m_scale;
    if (m_index == nullptr && !m_addressing.timeline) {
        // The last one of a period is as long as the period allows.
        const double left = periodEnd() - segment.start;
        const bool isWhole = run.duration == 0;
        segment.seconds = isWhole ? m_periodSeconds.value_or(0) : std::min(segment.seconds, left);
    }
    return segment;
}

DashSegment DashSegmentList::segmentAt(uint64_t position) const {
    DashSegment segment = placeAt(position);
    if (m_index != nullptr) {
        const SegmentIndex::Entry& entry = m_index->entries[static_cast<size_t>(position)];
        segment.range = ByteRange{entry.offset, entry.size};
        return segment;
    }
    segment.media = m_addressing.media;
    if (m_addressing.kind != DashAddressing::Kind::List)
        return segment;
    const uint64_t place = segment.number - m_addressing.startNumber;
    if (m_addressing.list && place < m_addressing.list->size()) {
        segment.media = (*m_addressing.list)[static_cast<size_t>(place)].media;
        segment.range = (*m_addressing.list)[static_cast<size_t>(place)].range;
    }
    return segment;
}

/// The position of the first segment that is not before; m_end when all are.
template<typename Predicate>
uint64_t DashSegmentList::partition(const Predicate& isBefore) const {
    uint64_t low = m_first;
    uint64_t high = m_end;
    while (low < high) {
        const uint64_t middle = low + (high - low) / 2;
        if (isBefore(placeAt(middle)))
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

bool DashSegmentList::isAvailable(uint64_t position, const DashWindow& window) const {
    const DashSegment segment = placeAt(position);
    return !runOf(position).isClocked ||
           segment.start + segment.seconds <= window.until + kTolerance;
}

/// Where the window begins, from a position on.
uint64_t DashSegmentList::firstPosition(uint64_t position, const DashWindow& window) const {
    if (position >= m_end || !runOf(position).isClocked)
        return position;
    return std::max(position, partition([&](const DashSegment& it) {
                        return it.start + it.seconds <= window.from + kTolerance;
                    }));
}

/// The first available segment from a position on.
std::optional<DashSegment> DashSegmentList::firstFrom(uint64_t position,
                                                      const DashWindow& window) const {
    position = firstPosition(position, window);
    if (position >= m_end || !isAvailable(position, window))
        return std::nullopt;
    return segmentAt(position);
}

std::optional<DashSegment> DashSegmentList::at(double seconds, const DashWindow& window) const {
    const auto isBefore = [&](const DashSegment& it) {
        return it.start + dashLength(it) * (1 - kBoundaryTolerance) <= seconds;
    };
    return firstFrom(partition(isBefore), window);
}

/// A live timeline that loses segments at its begin keeps their times, but not always their
/// numbers; without a timeline the numbers stay.
std::optional<DashSegment> DashSegmentList::behind(const DashSegment& last,
                                                   const DashWindow& window) const {
    const bool byTime = m_index == nullptr && m_addressing.timeline;
    const auto isBefore = [&](const DashSegment& it) {
        return byTime ? it.time <= last.time : it.number <= last.number;
    };
    return firstFrom(partition(isBefore), window);
}

/// The position behind the last available segment; m_first when there is none.
uint64_t DashSegmentList::endPosition(const DashWindow& window) const {
    uint64_t low = m_first;
    uint64_t high = m_end;
    while (low < high) {
        const uint64_t middle = low + (high - low) / 2;
        if (isAvailable(middle, window))
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

std::optional<DashSegment> DashSegmentList::last(const DashWindow& window) const {
    const uint64_t end = endPosition(window);
    return end == m_first ? std::nullopt : std::optional(segmentAt(end - 1));
}

/// Within a run all segments are alike but the last one of a period, which may be shorter.
DashLengths DashSegmentList::lengths(const DashWindow& window) const {
    DashLengths result;
    const uint64_t end = endPosition(window);
    for (uint64_t at = firstPosition(m_first, window); at < end;) {
        const size_t run = static_cast<size_t>(&runOf(at) - m_runs.data());
        const bool isLast = run + 1 == m_runs.size();
        const uint64_t behind = isLast ? end : std::min(end, m_runs[run + 1].position);
        const DashSegment first = placeAt(at);
        const DashSegment last = placeAt(behind - 1);
        const auto [low, high] = std::minmax(first.seconds, last.seconds);
        result.shortest = result.count == 0 ? low : std::min(result.shortest, low);
        result.longest = std::max(result.longest, high);
        result.start = result.count == 0 ? first.start : result.start;
        result.sum += first.seconds * static_cast<double>(behind - at - 1) + last.seconds;
        result.count += behind - at;
        at = behind;
    }
    return result;
}

} // namespace hastool
