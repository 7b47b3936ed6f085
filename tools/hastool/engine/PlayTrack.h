// One track of a play.
#pragma once

#include "MediaWriter.h"
#include "Presentation.h"
#include "Renditions.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace hastool {

/// How far a track is, and where its media goes.
struct PlayTrack {
    using Clock = std::chrono::steady_clock;

    PlayTrack(size_t number, const TrackInfo& info, std::unique_ptr<MediaWriter> writer);

    /// Goes to the best stream up to a bitrate, or the lowest.
    void startAt(int maxBitrate);
    int bitrate() const { return info.streams[stream].bitrate; }

    size_t number; ///< in the presentation
    TrackInfo info;
    size_t stream = 0;
    size_t lastGoodStream = 0;  ///< that a piece came from
    std::vector<bool> isBroken; ///< streams whose manifest cannot be had
    Renditions renditions;
    std::unique_ptr<MediaWriter> writer;
    MediaPart init; ///< that initBytes came from
    std::string initBytes;
    double seconds = 0; ///< fetched
    bool ended = false;
    Clock::time_point askAt; ///< when there may be something new
    const char* change = ""; ///< "up" or "down" when the stream changed before the next piece
};

/// The output of a track beside the main one: "film.mp4" becomes "film.audio.mp4".
std::string trackOutput(const std::string& output, const TrackInfo& info);

} // namespace hastool
