// Real media for a test.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace test {

/// An HLS presentation of H.264 and AAC in several qualities, made by ffmpeg from its own test
/// pictures: master.m3u8, and for quality N (from 0, the lowest) the folder N with index.m3u8 and
/// its segments of two seconds. Every quality has a picture size of its own.
class MediaLadder {
public:
    enum class Format { TransportStream, FragmentedMp4 };

    /// @param folder    is created, and gets the files
    /// @param bitrates  of the picture in kbit/s, ascending
    MediaLadder(std::filesystem::path folder, Format format, int seconds,
                const std::vector<int>& bitrates);

    const std::filesystem::path& folder() const { return m_folder; }
    /// The bytes of one quality as a player that never switches writes them.
    std::string joined(int quality) const;
    /// The URIs in one quality's playlist, in order; the initialisation first if there is one.
    std::vector<std::string> uris(int quality) const;

private:
    std::filesystem::path m_folder;
};

/// What ffmpeg says when it decodes a file to its end; empty when all is well.
std::string decodeErrors(const std::string& path);

/// How long a file's picture lasts, in seconds, as ffprobe counts it.
double decodedSeconds(const std::string& path);

} // namespace test
