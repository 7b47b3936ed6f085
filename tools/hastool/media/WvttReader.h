// WebVTT cues in fragmented MP4.
#pragma once

#include "WebVtt.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Reads the samples of a WebVTT track in MP4 (ISO/IEC 14496-30, 7), whose cues are cut at each
/// change of what is on the screen.
class WvttReader {
public:
    /// @return nothing for an initialisation without a WebVTT track
    static std::optional<WvttReader> open(std::string_view init);

    /// The cues of a segment, by the media's clock, and the styles and regions of the
    /// initialisation. @return nothing for what is no fragment
    std::optional<VttDocument> read(std::string_view media) const;

    /// The most samples that a segment may have.
    static constexpr size_t kMaxSamples = 100000;

private:
    struct Fragment;

    bool readTrack(std::string_view track, Fragment& fragment) const;
    bool readRun(std::string_view run, Fragment& fragment) const;
    void readSample(std::string_view sample, int64_t start, int64_t end,
                    VttDocument& document) const;
    std::optional<int64_t> ticks(uint64_t time) const;

    uint32_t m_track = 0;
    uint32_t m_timescale = 1;
    uint32_t m_duration = 0; ///< of a sample, where nothing else is said
    uint32_t m_size = 0;
    std::vector<std::string> m_blocks;
};

} // namespace hastool
