// Fragments of several initialisations in one file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// Makes the fragments of several MP4 initialisations (ISO/IEC 14496-12, 14496-15) playable in one
/// file.
///
/// A reader uses a file's first initialisation for the whole file, and the H.264 parameter sets in
/// it, although these differ between qualities. So from the second initialisation on each fragment
/// gets the parameter sets of its own initialisation before its first picture. A segment that
/// cannot be understood stays as it is.
class Fmp4Joiner {
public:
    /// Sets the initialisation of the fragments that follow.
    void setInit(std::string_view init);
    /// A media segment, as it is to be written.
    std::string adapt(std::string segment) const;

private:
    /// The H.264 track of an initialisation.
    struct Video {
        uint32_t track = 0;
        unsigned lengthSize = 0;   ///< bytes before each NAL unit that tell its length
        std::string parameterSets; ///< NAL units with their lengths
    };

    static std::optional<Video> findVideo(std::string_view init);
    static std::optional<Video> readConfiguration(std::string_view box);

    int m_inits = 0;
    std::optional<Video> m_first;
    std::optional<Video> m_video; ///< of the current initialisation
};

} // namespace hastool
