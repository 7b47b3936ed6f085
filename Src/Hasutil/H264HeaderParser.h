/// @file
/// Finds and parses the sequence parameter set of an H.264 stream.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/Packet.h>
#include <Hasutil/H264SequenceSetParse.h>

namespace hascommon {

/// Learns a video stream's resolution from its sequence parameter set (ITU-T H.264, clause 7.3.2.1
/// and annex B).
///
/// **Order of calls.** ParseHeader() on the stream piece by piece until it finds the parameter set,
/// ParseSPS() on the bytes behind its NAL header, CalcResolution().
///
/// **Ownership.** Callers keep their bytes; a parameter set is copied into the parser's own memory,
/// which grows to the largest one and goes with the parser.
///
/// Thread safety: one thread at a time for one object.
class HAS_API H264HeaderParser {
public:
    H264HeaderParser();
    H264HeaderParser(const H264HeaderParser&) = delete;
    H264HeaderParser& operator=(const H264HeaderParser&) = delete;

    /// Forgets a start code that has begun; the offset of the last parameter set stays.
    void Reset();

    /// Looks for the first sequence parameter set or non-IDR slice behind a start code.
    ///
    /// A start code may be split over any number of calls. The scan ends at the NAL header it
    /// reports and the parser then still stands behind that start code, so Reset() comes before
    /// another stream or a second look at the same bytes.
    /// @param bytes  the next piece of an Annex B stream, only read; null reads like no bytes
    /// @param size   in bytes
    /// @return 0 nothing found, 1 a sequence parameter set, 2 a non-IDR slice
    int ParseHeader(unsigned char* bytes, int size);

    /// @return where the NAL header of the parameter set lies in the bytes of the ParseHeader()
    ///         call that returned 1; 0 before
    int GetSpsOffet();

    /// Parses a sequence parameter set up to its cropping; the VUI is not looked at.
    ///
    /// The chroma and scaling elements are expected for the profiles 100, 110, 122 and 144 and no
    /// others, and always with eight scaling lists; engines reckon with sets being read so.
    /// @param bytes  the set behind its NAL header, with emulation prevention; only read, copied
    /// @param size   in bytes; what follows the set may be in it
    /// @param sps    receives the elements in the stream's order
    /// @return whether all elements were there; otherwise `sps` holds those before the cut
    bool ParseSPS(unsigned char* bytes, int size, H264SequenceSetParse& sps);

    /// Computes the size of the cropped luma picture, in pixels.
    ///
    /// Crop offsets count as in 4:2:0 video whatever the chroma format, and a picture one
    /// macroblock wide or high is refused; engines reckon with both.
    /// @param width,height  receive the size; untouched for a picture that is refused
    /// @return whether both are at least 1
    bool CalcResolution(const H264SequenceSetParse& sps, int& width, int& height);

private:
    HAS_LOCAL int step(unsigned char byte, int at);

    int m_zeros = 0;
    unsigned char m_startFlag = 0;
    int m_spsOffset = 0;
    Packet m_packet;
};

} // namespace hascommon
