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

/// Learns the picture size of each quality: from the parameter set of its first segment where that
/// is a transport stream or an Annex B stream with one, else from what the manifest says.
class Renditions {
public:
    Renditions() = default;
    explicit Renditions(const std::vector<StreamInfo>& streams);

    /// Looks into a stream's segment, unless one was looked into before. @return the resolution
    const std::string& learn(size_t stream, const std::string& media);
    /// "640x360"; until the first segment what the manifest says, empty when nothing does.
    std::string resolution(size_t stream) const;
    /// In the order of their first segments.
    std::vector<PlayedRendition> played() const;

private:
    std::vector<PlayedRendition> m_all;
    std::vector<size_t> m_played;
};

} // namespace hastool
