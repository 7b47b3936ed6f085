// Audio and video of separate files in one.
#pragma once

#include <string>

namespace hastool {

/// What came of it.
struct MergeResult {
    bool isMerged = false;
    bool hasFailed = false; ///< it was tried
    std::string why;        ///< not merged
};

/// Whether a file's name asks for one file with audio and video: it ends in ".mp4".
bool isMergedName(const std::string& output);

/// Puts the audio into the video's file, with ffmpeg, without encoding anew. The new file takes the
/// video's name when it is whole, and the audio's file goes. If that cannot be, both stay as they
/// are. The times of both are kept as they are to each other.
MergeResult mergeTracks(const std::string& video, const std::string& audio);

} // namespace hastool
