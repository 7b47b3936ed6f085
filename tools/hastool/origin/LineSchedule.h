// When bytes are over a line.
#pragma once

#include "RateProfile.h"

#include <cstddef>
#include <utility>

namespace hastool {

/// One line with the rate of a profile, shared by all that send over it: what is handed to it goes
/// over one after the other. An unused line saves nothing up. Times are seconds since the profile
/// began.
class LineSchedule {
public:
    explicit LineSchedule(RateProfile profile)
        : m_profile(std::move(profile)) {}

    /// Puts bytes on the line. @return when they are over
    double send(double now, size_t bytes);
    /// How many bytes to hand over at once, so that the rate is even.
    size_t pieceSize(double now) const;
    /// Seconds from a request to the first byte.
    double latency(double now) const { return m_profile.at(now).latency; }

private:
    RateProfile m_profile;
    double m_position = 0; ///< what has gone over it, of what could have
    double m_freeAt = -1;  ///< when the last byte is over
};

} // namespace hastool
