#include <Hasutil/detail/SpsSyntax.h>

namespace hascommon::detail {

namespace {

constexpr unsigned int kScalingLists = 8;
constexpr unsigned int kSmallScalingLists = 6;
constexpr unsigned int kChroma444 = 3;

bool dropU(H264_SyntaxReader& reader, unsigned int bits) {
    unsigned int value = 0;
    return reader.ReadU(bits, value) == 0;
}

bool dropUE(H264_SyntaxReader& reader) {
    unsigned int value = 0;
    return reader.ReadUE(value) == 0;
}

/// Drops `count` elements; the count comes from the stream, so it may go beyond its end.
bool dropSE(H264_SyntaxReader& reader, unsigned int count) {
    int value = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (reader.ReadSE(value) != 0)
            return false;
    }
    return true;
}

bool dropBitDepths(H264_SyntaxReader& reader) {
    const bool luma = dropUE(reader);
    return luma && dropUE(reader);
}

/// This and the next write the field only once the element was read whole.
bool readFlag(H264_SyntaxReader& reader, unsigned int& field) {
    return reader.ReadU(1, field) == 0;
}

bool readField(H264_SyntaxReader& reader, unsigned int& field) {
    unsigned int value = 0;
    if (reader.ReadUE(value) != 0)
        return false;
    field = value;
    return true;
}

bool hasChromaElements(unsigned int profile) {
    return profile == 100 || profile == 110 || profile == 122 || profile == 144;
}

bool readScalingMatrix(H264_SyntaxReader& reader) {
    for (unsigned int i = 0; i < kScalingLists; ++i) {
        unsigned int present = 0;
        if (!readFlag(reader, present))
            return false;
        const unsigned int entries = i < kSmallScalingLists ? 16 : 64;
        if (present != 0 && read_scaling_list(reader, entries) == 0)
            return false;
    }
    return true;
}

bool readChromaElements(H264_SyntaxReader& reader) {
    unsigned int chromaFormat = 0;
    if (!readField(reader, chromaFormat))
        return false;
    if (chromaFormat == kChroma444 && !dropU(reader, 1)) // separate_colour_plane_flag
        return false;
    if (!dropBitDepths(reader) || !dropU(reader, 1)) // qpprime_y_zero_transform_bypass_flag
        return false;
    unsigned int matrix = 0; // seq_scaling_matrix_present_flag
    return readFlag(reader, matrix) && (matrix == 0 || readScalingMatrix(reader));
}

bool readPicOrderCycle(H264_SyntaxReader& reader, H264SequenceSetParse& sps) {
    if (!readFlag(reader, sps.delta_pic_order_always_zero_flag))
        return false;
    unsigned int cycle = 0; // num_ref_frames_in_pic_order_cnt_cycle
    // offset_for_non_ref_pic, offset_for_top_to_bottom_field
    return dropSE(reader, 2) && readField(reader, cycle) && dropSE(reader, cycle);
}

bool readPicOrder(H264_SyntaxReader& reader, H264SequenceSetParse& sps) {
    if (!readField(reader, sps.pic_order_cnt_type))
        return false;
    if (sps.pic_order_cnt_type == 0)
        return readField(reader, sps.log2_max_pic_order_cnt_lsb_minus4);
    return sps.pic_order_cnt_type != 1 || readPicOrderCycle(reader, sps);
}

bool readPictureSize(H264_SyntaxReader& reader, H264SequenceSetParse& sps) {
    if (!dropUE(reader) || !dropU(reader, 1)) // max_num_ref_frames, gaps_in_frame_num_...
        return false;
    if (!readField(reader, sps.pic_width_in_mbs_minus1) ||
        !readField(reader, sps.pic_height_in_map_units_minus1) ||
        !readFlag(reader, sps.frame_mbs_only_flag))
        return false;
    if (sps.frame_mbs_only_flag == 0 && !dropU(reader, 1)) // mb_adaptive_frame_field_flag
        return false;
    return dropU(reader, 1); // direct_8x8_inference_flag
}

bool readCropping(H264_SyntaxReader& reader, H264SequenceSetParse& sps) {
    if (!readFlag(reader, sps.frame_cropping_flag))
        return false;
    return sps.frame_cropping_flag == 0 || (readField(reader, sps.frame_crop_left_offset) &&
                                            readField(reader, sps.frame_crop_right_offset) &&
                                            readField(reader, sps.frame_crop_top_offset) &&
                                            readField(reader, sps.frame_crop_bottom_offset));
}

} // namespace

bool readSequenceSet(H264_SyntaxReader& reader, H264SequenceSetParse& sps) {
    unsigned int profile = 0;
    if (reader.ReadU(8, profile) != 0)
        return false;
    if (!dropU(reader, 16)) // four constraint flags, four reserved bits, level_idc
        return false;
    if (!readField(reader, sps.seq_parameter_set_id))
        return false;
    if (hasChromaElements(profile) && !readChromaElements(reader))
        return false;
    return readField(reader, sps.log2_max_frame_num_minus4) && readPicOrder(reader, sps) &&
           readPictureSize(reader, sps) && readCropping(reader, sps);
}

} // namespace hascommon::detail
