// The qualities of a presentation as they are played.
#pragma once

#include <hastool/formats/Presentation.h>

#include <string>
#include <vector>

namespace hastool {

/// A quality that was played.
struct PlayedRendition {
    size_t stream = 0; ///< 0 for the lowest quality
    int bitrate = 0;
    std::string resolution; ///< "640x360"; empty when not known
};

/// Learns the picture size of each quality: from the H.264 parameter set in its first segment where
/// there is one, else from the manifest.
class Renditions {
public:
    Renditions() = default;
    explicit Renditions(const std::vector<StreamInfo>& streams);

    /// Looks into a stream's segment, unless one was looked into before. @return the resolution
    const std::string& learn(size_t stream, const std::string& media);
    /// "640x360"; before the first segment that of the manifest; empty when not known.
    std::string resolution(size_t stream) const;
    /// In the order of their first segments.
    std::vector<PlayedRendition> played() const;

private:
    std::vector<PlayedRendition> m_all;
    std::vector<size_t> m_played;
};

} // namespace hastool
