// What there is to know of one stream of audio, video or text in a segment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hastool {

/// An elementary stream: a PID of a transport stream, a track of MP4, or packed audio.
struct StreamFacts {
    enum class Kind { Video, Audio, Text, Other };

    Kind kind = Kind::Other;
    uint32_t id = 0;    ///< PID or track id
    std::string codec;  ///< as RFC 6381 writes it: "avc1.4d401f"; empty when not known
    int width = 0;      ///< of the pictures, as their parameter sets say; 0 when not known
    int height = 0;     ///< the same
    int channels = 0;   ///< of audio; 0 when not known
    int sampleRate = 0; ///< of audio, in Hz; 0 when not known

    /// By the media's own clock, in seconds; of a transport stream it begins anew at 2^33 / 90,000.
    std::optional<double> start;       ///< the earliest presentation time
    std::optional<double> decodeStart; ///< the first decode time
    double seconds = 0;                ///< how long it is presented; 0 when not known
    uint64_t frames = 0;               ///< pictures, frames of audio, samples
    double frameSeconds = 0;           ///< of one frame on average; 0 when not known

    /// Of video: whether it begins with a picture that needs none before it.
    std::optional<bool> beginsWithKey;
    uint64_t keyFrames = 0; ///< as far as they can be told
};

/// How often the clock of a transport stream begins anew, in seconds.
constexpr double kTransportClockPeriod = 8589934592.0 / 90000;

} // namespace hastool
