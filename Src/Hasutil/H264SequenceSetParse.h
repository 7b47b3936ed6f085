/// @file
/// What the H.264 parser takes from a sequence parameter set.
#pragma once

namespace hascommon {

/// Elements of a sequence parameter set, named as in ITU-T H.264, clause 7.3.2.1.1.
///
/// Those the stream does not carry stay as the caller set them, so a caller starts from zeros, as
/// the initialisers here do.
struct H264SequenceSetParse {
    /// Which of the stream's parameter sets this is, 0 to 31 in a valid stream.
    unsigned int seq_parameter_set_id = 0;
    /// How the pictures' output order is coded, 0 to 2 in a valid stream.
    unsigned int pic_order_cnt_type = 0;
    /// 1 for a stream of frames alone, 0 where pictures may be fields.
    unsigned int frame_mbs_only_flag = 0;
    /// Only where pic_order_cnt_type is 1.
    unsigned int delta_pic_order_always_zero_flag = 0;
    /// The length of frame_num in bits, less four.
    unsigned int log2_max_frame_num_minus4 = 0;
    /// Only where pic_order_cnt_type is 0.
    unsigned int log2_max_pic_order_cnt_lsb_minus4 = 0;
    /// The picture's width in macroblocks of 16 pixels, less one.
    unsigned int pic_width_in_mbs_minus1 = 0;
    /// The height in rows of macroblocks, or of macroblock pairs in a field-coded stream, less one.
    unsigned int pic_height_in_map_units_minus1 = 0;
    /// Whether the four offsets below are in the stream.
    unsigned int frame_cropping_flag = 0;
    /// What is cut off at each side, in units of two luma samples across, and of two down in a
    /// stream of frames or four otherwise.
    unsigned int frame_crop_left_offset = 0;
    unsigned int frame_crop_right_offset = 0;
    unsigned int frame_crop_top_offset = 0;
    unsigned int frame_crop_bottom_offset = 0;
};

} // namespace hascommon
