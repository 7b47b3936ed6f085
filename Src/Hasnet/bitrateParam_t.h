/// @file
/// One entry of the bitrate limits.
#pragma once

#include <cstdint>

namespace hascommon {

/// What is known about the streams of one bitrate; see IBitrateSwitcher::SetBitrateLimit().
struct bitrateParam_t {
    std::int32_t bitrate;      ///< bits per second of the streams that the entry is about
    std::int32_t group;        ///< switches within a group are free
    std::int32_t upgradeClass; ///< there is no way up between streams of different classes
};

} // namespace hascommon
