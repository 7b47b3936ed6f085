// How the media's clock runs against the time of the joined media.
#pragma once

#include <hastool/formats/Presentation.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Learns from the pieces of the main track, in their order, when its stretches without a break
/// begin, so that the times of other tracks can be told as those of the joined media.
class MediaTimeline {
public:
    /// A piece is written. @param init  empty where it has none
    void add(const MediaPiece& piece, const std::string& init, const std::string& media);
    /// A piece could not be had.
    void skip(const MediaPiece& piece) { enter(piece); }

    /// The time of the media's clock, in ticks of 90 kHz, at the begin of the joined media, as a
    /// stretch counts it.
    int64_t clockStart(size_t stretch) const;
    /// When the joined media begins, in seconds of the presentation.
    double start() const { return m_start.value_or(0); }

private:
    void enter(const MediaPiece& piece);

    std::vector<std::optional<int64_t>> m_clockStarts; ///< of the stretches
    std::optional<double> m_start;
    double m_joined = 0; ///< seconds so far
};

} // namespace hastool
