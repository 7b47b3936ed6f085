// Subtitles of many segments in one WebVTT file.
#pragma once

#include "WebVtt.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Where the times of a segment's cues count from.
struct CuePlace {
    /// The times, with the offset, are those of the media's clock, of 33 bits, in a stretch of
    /// media without a break; else they are those of the joined media.
    bool isMediaClock = false;
    size_t stretch = 0;
    int64_t offset = 0;   ///< to add, in ticks
    bool isCutUp = false; ///< a cue that goes on in the next segment was cut at the boundary
};

/// Collects the cues of a play and writes them as one document: in the order of their times, which
/// are those of the joined media; what several segments repeat is written once.
class CueJoiner {
public:
    /// Adds a segment's cues. What would be too much for one file is left out and counted.
    void add(const VttDocument& document, const CuePlace& place);
    size_t cues() const { return m_cues.size(); }
    size_t leftOut() const { return m_leftOut; }
    /// The document. @param clockStart  gives the time of the media's clock, in ticks, that is the
    ///                                  begin of the joined media, for a stretch
    std::string text(const std::function<int64_t(size_t stretch)>& clockStart) const;

    /// The most that is kept: weeks of dense subtitles.
    static constexpr size_t kMaxCues = 200000;
    static constexpr size_t kMaxBytes = 64u << 20;

private:
    struct Cue : VttCue {
        CuePlace place;
    };

    std::vector<Cue> placed(const std::function<int64_t(size_t stretch)>& clockStart) const;
    static std::vector<Cue> withoutRepeats(std::vector<Cue> cues);

    std::vector<std::string> m_blocks;
    std::vector<Cue> m_cues;
    size_t m_bytes = 0;
    size_t m_leftOut = 0;
};

} // namespace hastool
