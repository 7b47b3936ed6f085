// What is recorded about one segment.
#pragma once

#include <hastool/net/Attempt.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// What is recorded about one segment.
struct TraceRow {
    double time = 0;      ///< seconds since the play began, when the segment was there
    double begin = 0;     ///< seconds since the play began, when it was asked for
    bool isAudio = false; ///< of the audio track beside the main one
    bool isText = false;  ///< of the subtitles
    uint64_t index = 0;   ///< its number in the stream
    size_t stream = 0;    ///< 0 for the lowest quality
    int bitrate = 0;      ///< of the stream, bits per second
    uint64_t bytes = 0;
    double duration = 0;  ///< of its media, seconds
    double download = 0;  ///< how long it took, seconds
    double firstByte = 0; ///< seconds
    long redirects = 0;
    unsigned bandwidth = 0;     ///< the best sample of the window, bits per second
    unsigned mean = 0;          ///< the window's mean, bits per second; what the switcher goes by
    double buffer = 0;          ///< seconds of media, with this segment
    const char* change = "";    ///< "up" or "down" when the stream changed before it
    int stalls = 0;             ///< so far
    double stallTime = 0;       ///< so far, seconds
    int choice = kNotAsked;     ///< what the switcher answered before it: a stream, -1 to stay
    unsigned choiceMean = 0;    ///< the window's mean at that moment, bits per second
    unsigned choiceFirst = 0;   ///< the first sample as known then, bits per second
    long long choiceBuffer = 0; ///< milliseconds of media in the buffer then
    static constexpr int kNotAsked = -2;
    int retries = 0;         ///< of this segment
    bool skipped = false;    ///< it could not be had
    int givenUp = 0;         ///< transfers of it that were given up for a lower stream
    uint64_t wasted = 0;     ///< bytes that these had brought
    double liveDistance = 0; ///< of what is played then, seconds; 0 where there is no live edge
    std::string url;         ///< after all redirects
    std::vector<Attempt> attempts; ///< of its media
    std::string resolution;        ///< "640x360"; empty when not known
};

} // namespace hastool
