#include "SubtitleRun.h"

#include <hastool/base/Interrupt.h>

namespace hastool {
namespace {

double inSeconds(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

TrackFeed::Parts withIntake(const TrackFeed::Parts& parts, PieceTaker& intake) {
    return {parts.clock,  parts.fetcher,    parts.presentation, parts.desk,
            parts.keys,   parts.adaptation, parts.buffer,       intake,
            parts.events, parts.journal,    parts.liveTimeout,  true};
}

} // namespace

SubtitleRun::SubtitleRun(const PlayOptions& options, const TrackFeed::Parts& parts, size_t number,
                         const MediaTimeline& timeline)
    : m_options(options)
    , m_clock(parts.clock)
    , m_buffer(parts.buffer)
    , m_journal(parts.journal)
    , m_writer(options.output, parts.presentation.tracks().at(number).language, timeline)
    , m_intake(m_writer, parts.journal)
    , m_track(number, parts.presentation.tracks()[number], nullptr)
    , m_feed(withIntake(parts, m_intake), m_track) {}

void SubtitleRun::run() {
    try {
        while (!m_track.ended) {
            if (!m_feed.isIdle() && m_feed.isReady())
                m_feed.proceed();
            else if (m_feed.isIdle() && mayAsk())
                m_feed.ask();
            else
                break;
        }
        m_feed.digest();
    } catch (const ToolError& error) {
        m_track.ended = true;
        m_journal.trouble(std::string(error.what()) + "; there are no more subtitles");
    }
}

bool SubtitleRun::mayAsk() const {
    const double position = inSeconds(m_buffer.position());
    return !hasAll() && !isInterrupted() && m_track.askAt <= m_clock.steady() &&
           m_track.seconds < position + inSeconds(m_options.bufferGoal);
}

bool SubtitleRun::hasAll() const {
    return m_track.ended || (m_options.duration > 0 && m_track.seconds >= m_options.duration);
}

bool SubtitleRun::isBehind(double seconds) const {
    return !hasAll() && m_track.seconds < seconds;
}

void SubtitleRun::commit() {
    m_writer.commit();
    if (const size_t count = m_writer.leftOut(); count > 0)
        m_journal.trouble("--subtitles: " + std::to_string(count) +
                          " cues or documents could not be used");
}

} // namespace hastool
