// The sequence parameter sets of a video.
#pragma once

#include "PsiAssembler.h"
#include <hastool/base/ByteSource.h>

#include <Hasutil/H264SequenceSetParse.h>

#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// A picture's size in pixels.
struct Resolution {
    int width = 0;
    int height = 0;

    /// "640x360".
    std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

/// One sequence parameter set.
struct SpsInfo {
    Bytes unit;   ///< with its NAL header
    int pid = -1; ///< of the packets it came in; -1 when not from a transport stream
    int profile = 0;
    unsigned int constraints = 0;
    int level = 0; ///< times ten
    /// Nothing for a set that is cut, or of a profile whose sets the library does not read.
    std::optional<hascommon::H264SequenceSetParse> fields;
    bool isSupported = true; ///< whether the library reads sets of this profile
    std::optional<Resolution> resolution;
};

/// The parameter sets of an Annex B stream, of the H.264 in a transport stream, or of the H.264
/// tracks of an MP4 file, in their order; equal ones come once. In a transport stream without a PMT
/// every video stream is searched.
std::vector<SpsInfo> findSps(const ByteSource& source);

/// The size in the first parameter set that tells it.
std::optional<Resolution> findResolution(const ByteSource& source);

} // namespace hastool
