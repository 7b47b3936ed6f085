// Codecs as RFC 6381 writes them.
#pragma once

#include <string>
#include <string_view>

namespace hastool {

/// @name From the content of a decoder configuration box; empty when it cannot be read
/// @param entry  type of the sample entry: "hvc1"
/// @{
std::string hevcCodec(std::string_view entry, std::string_view hvcC);
std::string av1Codec(std::string_view av1C);
std::string vp9Codec(std::string_view vpcC);
/// @}

/// What an `esds` box says of audio (ISO/IEC 14496-1, 7.2.6; 14496-3, 1.6.2).
struct Mpeg4Audio {
    std::string codec; ///< "mp4a.40.2"; empty when the box cannot be read
    int sampleRate = 0;
    int channels = 0;
};
/// @param esds  the box's content
Mpeg4Audio readMpeg4Audio(std::string_view esds);

} // namespace hastool
