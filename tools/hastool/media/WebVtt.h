// WebVTT documents (W3C WebVTT; in HLS also RFC 8216, 3.5).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// The unit of times of subtitles, which is that of MPEG-2 time stamps: ticks in a second.
constexpr int64_t kCueClock = 90000;

/// One cue. None of its texts has a line that would end it.
struct VttCue {
    int64_t start = 0; ///< in ticks
    int64_t end = 0;   ///< in ticks, behind the start
    std::string id;
    std::string settings;
    std::string text; ///< lines, none of them blank
};

struct VttDocument {
    std::vector<VttCue> cues;
    std::vector<std::string> blocks; ///< styles and regions, as written
    /// What is to be added to the cues' times to have those of the media's clock, in ticks
    /// (X-TIMESTAMP-MAP). Where a document does not say so, its times are those of the clock.
    int64_t clockOffset = 0;
    size_t dropped = 0; ///< cues that cannot be used
};

/// What a document may hold.
constexpr size_t kMaxCueBytes = 64u << 10; ///< far more than a screen shows
constexpr size_t kMaxVttBlocks = 200;      ///< styles and regions

/// Parses a document. Cues without a time, that end before they begin, or that are too large are
/// dropped.
/// @return nothing for text that is no WebVTT
std::optional<VttDocument> parseWebVtt(std::string_view text);

/// Makes texts from elsewhere safe for a cue: no line is blank, none looks like a cue's time.
VttCue cleanCue(VttCue cue);

/// "00:01:02.345"; negative times are shown as 0.
std::string vttTime(int64_t ticks);

} // namespace hastool
