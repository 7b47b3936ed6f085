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

    /// Allows only the streams whose bitrate is in one of the ranges or not known; without ranges
    /// all. @return whether any stream is allowed
    bool allow(const std::vector<std::pair<int, int>>& ranges);
    /// Goes to the best stream up to a bitrate, or the lowest.
    void startAt(int maxBitrate);
    /// The stream to go on with when this one's manifest cannot be had: the last one whose manifest
    /// could be read; if there was none, the nearest that has not failed, rather a lower one.
    /// @return nothing when there is no such stream
    std::optional<size_t> fallback() const;
    /// The bitrate of its stream in bits per second. Where the manifest does not give it, it is
    /// that of the media so far, and 0 before any has come.
    int bitrate() const;

    size_t number; ///< in the presentation
    TrackInfo info;
    size_t stream = 0;
    size_t lastGoodStream = 0;  ///< the last stream whose manifest could be read
    bool hasGoodStream = false; ///< there was such a stream
    std::vector<bool> isBroken; ///< streams whose manifest cannot be had
    std::vector<size_t> ladder; ///< streams that are allowed, ascending
    Renditions renditions;
    std::unique_ptr<MediaWriter> writer;
    MediaPart init; ///< where initBytes came from
    std::string initBytes;
    double mediaEnd = 0;     ///< of the media that came in last, on the scale of MediaPiece::start
    double seconds = 0;      ///< how far it has been read, skipped segments included
    uint64_t bytes = 0;      ///< of the media that came in
    double mediaSeconds = 0; ///< duration of that media
    int failuresInARow = 0;  ///< segments that could not be had, since the last that could
    bool ended = false;
    Clock::time_point askAt; ///< when there may be something new
    const char* change = ""; ///< "up" or "down" when the stream changed before the next piece
};

/// The output of a track beside the main one: "film.mp4" becomes "film.audio.mp4".
std::string trackOutput(const std::string& output, const TrackInfo& info);

} // namespace hastool
