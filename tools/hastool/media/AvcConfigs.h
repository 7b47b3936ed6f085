// The decoder configurations of an MP4 file's H.264 tracks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Finds the `avcC` boxes in the movie of a file that comes piece by piece, and hands out their
/// sequence parameter sets (ISO/IEC 14496-15, clause 5.3.3). All other boxes are skipped by their
/// sizes, and so is a movie larger than kMaxMovie.
class AvcConfigs {
public:
    /// The tables of a movie with hours of samples take some megabytes.
    static constexpr uint64_t kMaxMovie = 256u << 20;
    /// @param unit  with its NAL header
    using Sink = std::function<void(const std::vector<unsigned char>& unit)>;

    explicit AvcConfigs(Sink sink)
        : m_sink(std::move(sink)) {}

    void push(const unsigned char* data, size_t size);

private:
    void begin();
    void search(std::string_view boxes, std::string_view parent);
    void take(std::string_view configuration);

    Sink m_sink;
    std::string m_box;      ///< the current box: its header, or all of it when it is a movie
    uint64_t m_left = 0;    ///< bytes of the current box that have not come
    bool m_isMovie = false; ///< the current box is kept whole
};

} // namespace hastool
