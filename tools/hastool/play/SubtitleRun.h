// The subtitles beside audio and video.
#pragma once

#include "MediaTimeline.h"
#include "PlayOptions.h"
#include "SubtitleIntake.h"
#include "SubtitleWriter.h"
#include "TrackFeed.h"

#include <chrono>
#include <string>

namespace hastool {

/// Fetches the subtitles of a play at their own pace, no further ahead than the buffer goes: audio
/// and video never wait for them. A failure that would end the play ends only the subtitles.
class SubtitleRun {
public:
    /// All but the number are borrowed.
    /// @param parts   as audio and video have them
    /// @param number  of the track in the presentation
    SubtitleRun(const PlayOptions& options, const TrackFeed::Parts& parts, size_t number,
                const MediaTimeline& timeline);

    /// Does all that can be done now.
    void run();
    /// Whether there is something to come before a time of the media, in seconds.
    bool isBehind(double seconds) const;
    /// Writes the file. @throws ToolError when that fails
    void commit();
    /// The file; empty where there is none.
    const std::string& output() const { return m_writer.path(); }

private:
    bool mayAsk() const;
    bool hasAll() const;

    const PlayOptions& m_options;
    const Clock& m_clock;
    const PlaybackBuffer& m_buffer;
    Journal& m_journal;
    SubtitleWriter m_writer;
    SubtitleIntake m_intake;
    PlayTrack m_track;
    TrackFeed m_feed;
};

} // namespace hastool
