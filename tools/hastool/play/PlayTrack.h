// One track of a play.
#pragma once

#include "MediaWriter.h"
#include "Renditions.h"
#include <hastool/formats/Presentation.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// How far a track is, and where its media goes.
struct PlayTrack {
    using Clock = std::chrono::steady_clock;

    PlayTrack(size_t number, const TrackInfo& info, std::unique_ptr<MediaWriter> writer);

    /// Leaves only the streams within one of the ranges of bitrates; without ranges, and where a
    /// bitrate is not known, all. @return whether there are any
    bool allow(const std::vector<std::pair<int, int>>& ranges);
    /// Goes to the best stream up to a bitrate, or the lowest.
    void startAt(int maxBitrate);
    /// The stream to go on with when this one's manifest cannot be had: the one before it; before
    /// anything has come the nearest that has not failed, a lower one first.
    std::optional<size_t> fallback() const;
    /// Of its stream in bits per second; measured where the manifest tells none, 0 until then.
    int bitrate() const;

    size_t number; ///< in the presentation
    TrackInfo info;
    size_t stream = 0;
    size_t lastGoodStream = 0;  ///< that a piece came from
    bool hasGoodStream = false; ///< there was one
    std::vector<bool> isBroken; ///< streams whose manifest cannot be had
    std::vector<size_t> ladder; ///< streams that are allowed, ascending
    Renditions renditions;
    std::unique_ptr<MediaWriter> writer;
    MediaPart init; ///< that initBytes came from
    std::string initBytes;
    double seconds = 0;      ///< fetched
    uint64_t bytes = 0;      ///< of the media that came in
    double mediaSeconds = 0; ///< that these bytes are
    int failuresInARow = 0;  ///< of its segments
    bool ended = false;
    Clock::time_point askAt; ///< when there may be something new
    const char* change = ""; ///< "up" or "down" when the stream changed before the next piece
};

/// The output of a track beside the main one: "film.mp4" becomes "film.audio.mp4".
std::string trackOutput(const std::string& output, const TrackInfo& info);

} // namespace hastool
