#include <Hasutil/H264HeaderParser.h>

#include <Hasutil/H264_SyntaxReader.h>
#include <Hasutil/detail/SpsSyntax.h>
#include <Hasutil/detail/StartCodeScan.h>

#include <cstring>

namespace hascommon {

namespace {

constexpr int kNothing = 0;
constexpr int kSequenceSet = 1;
constexpr int kSlice = 2;
constexpr unsigned char kNalTypeMask = 0x1F;
constexpr unsigned char kNalSlice = 1;
constexpr unsigned char kNalSequenceSet = 7;

} // namespace

H264HeaderParser::H264HeaderParser() {
    Reset();
}

void H264HeaderParser::Reset() {
    m_zeros = 0;
    m_startFlag = 0;
}

int H264HeaderParser::step(unsigned char byte, int at) {
    if (byte == 0) {
        if (m_zeros < 2) // all that is asked of the count is whether it has reached two
            ++m_zeros;
        return kNothing;
    }
    if (m_zeros >= 2 && m_startFlag != 0) {
        const int type = byte & kNalTypeMask;
        if (type == kNalSlice)
            return kSlice;
        if (type == kNalSequenceSet) {
            m_spsOffset = at;
            return kSequenceSet;
        }
    }
    if (byte == 1 && m_startFlag == 0)
        m_startFlag = 1;
    else
        Reset();
    return kNothing;
}

int H264HeaderParser::ParseHeader(unsigned char* bytes, int size) {
    if (bytes == nullptr)
        return kNothing;
    for (int i = 0; i < size; ++i) {
        if (m_zeros == 0 && m_startFlag == 0)
            i = detail::skipToStartCode(bytes, i, size);
        const int found = step(bytes[i], i);
        if (found != kNothing)
            return found;
    }
    return kNothing;
}

int H264HeaderParser::GetSpsOffet() {
    return m_spsOffset;
}

bool H264HeaderParser::ParseSPS(unsigned char* bytes, int size, H264SequenceSetParse& sps) {
    if (bytes == nullptr || size < 1)
        return false;
    const auto length = static_cast<unsigned int>(size);
    m_packet.PtrResize(length);
    if (m_packet.GetSize() != length)
        return false;
    memcpy(m_packet.GetPtr(), bytes, length);
    m_packet.ResetPos();
    m_packet.SetDataPos(0);
    H264_SyntaxReader reader(&m_packet);
    return detail::readSequenceSet(reader, sps);
}

bool H264HeaderParser::CalcResolution(const H264SequenceSetParse& sps, int& width, int& height) {
    if (sps.pic_width_in_mbs_minus1 == 0 || sps.pic_height_in_map_units_minus1 == 0)
        return false;
    const unsigned int fields = 2 - sps.frame_mbs_only_flag;
    const unsigned int cropX = sps.frame_crop_left_offset + sps.frame_crop_right_offset;
    const unsigned int cropY = sps.frame_crop_top_offset + sps.frame_crop_bottom_offset;
    width = static_cast<int>((sps.pic_width_in_mbs_minus1 + 1) * 16 - 2 * cropX);
    height = static_cast<int>(fields * 16 * (sps.pic_height_in_map_units_minus1 + 1) -
                              fields * 2 * cropY);
    return width >= 1 && height > 0;
}

} // namespace hascommon
