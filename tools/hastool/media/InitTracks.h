// What an MP4 initialisation says about its tracks.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>

namespace hastool {

/// The time base of a track, and what its fragments leave out.
struct InitTrack {
    uint32_t timescale = 0; ///< units per second; above 0
    uint32_t duration = 0;  ///< of a sample, in units
    uint32_t size = 0;      ///< of a sample, in bytes
    uint32_t flags = 0;     ///< of a sample
};

/// By track id.
using InitTracks = std::map<uint32_t, InitTrack>;

/// The tracks of an initialisation (ISO/IEC 14496-12, 8.3 to 8.8); those that cannot be read are
/// left out.
InitTracks readInitTracks(std::string_view init);

} // namespace hastool
