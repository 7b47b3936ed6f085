// What there is to know of an initialisation segment.
#pragma once

#include "StreamFacts.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A track as the initialisation describes it.
struct InitTrackFacts : StreamFacts {
    uint32_t timescale = 0;
    std::string format;       ///< of its samples, behind any encryption: "avc1"
    int entryWidth = 0;       ///< of the pictures, as the sample entry says; 0 when not known
    int entryHeight = 0;      ///< the same
    unsigned lengthSize = 0;  ///< bytes before each NAL unit; 0 where there are none
    double editStart = 0;     ///< media time that the presentation begins with, in seconds
    bool hasDefaults = false; ///< trex
    bool hasEntry = false;    ///< there is a sample entry
    bool isProtected = false; ///< the sample entry is one of encrypted samples
    std::string scheme;       ///< of encryption: "cenc"; empty when not told
    bool hasKeyId = false;    ///< tenc, or its older form
    std::string keyId;        ///< of the samples, 32 hexadecimal digits
};

/// An initialisation segment.
struct InitFacts {
    std::string trouble;             ///< why it cannot be read; empty when it can
    bool isTransportStream = false;  ///< tables alone; nothing more is read
    std::vector<std::string> brands; ///< the major one first
    bool isFragmented = false;       ///< it has mvex
    std::vector<InitTrackFacts> tracks;
    std::vector<std::string> protections; ///< pssh boxes, as they are

    const InitTrackFacts* track(uint32_t id) const;
};

/// @param init  the initialisation, as it came
InitFacts readInitFacts(std::string_view init);

} // namespace hastool
