// The H.264 header scan, split anywhere, and the parameter set parser, each against a plain model.
#include <Hasutil/H264HeaderParser.h>
#include <Input.h>
#include <support/ExactBytes.h>
#include <support/PlainHeaderScan.h>
#include <support/PlainSps.h>

namespace {

using fuzz::Input;
using fuzz::require;
using hascommon::H264HeaderParser;
using hascommon::H264SequenceSetParse;
using test::ExactBytes;

constexpr unsigned int kMark = 0xA5A5A5A5U;

void scan(Input input) {
    H264HeaderParser parser;
    test::PlainHeaderScan plain;
    while (!input.empty()) {
        const ExactBytes piece(input.bytes(input.byte() + 1));
        require(parser.ParseHeader(piece.data(), piece.intSize()) ==
                plain.scan(piece.data(), piece.size()));
        require(parser.GetSpsOffet() == plain.offset());
    }
}

std::vector<unsigned int> fieldsOf(const H264SequenceSetParse& sps) {
    return {sps.seq_parameter_set_id,      sps.pic_order_cnt_type,
            sps.frame_mbs_only_flag,       sps.delta_pic_order_always_zero_flag,
            sps.log2_max_frame_num_minus4, sps.log2_max_pic_order_cnt_lsb_minus4,
            sps.pic_width_in_mbs_minus1,   sps.pic_height_in_map_units_minus1,
            sps.frame_cropping_flag,       sps.frame_crop_left_offset,
            sps.frame_crop_right_offset,   sps.frame_crop_top_offset,
            sps.frame_crop_bottom_offset};
}

void parse(const ExactBytes& bytes) {
    H264SequenceSetParse sps{kMark, kMark, kMark, kMark, kMark, kMark, kMark,
                             kMark, kMark, kMark, kMark, kMark, kMark};
    H264HeaderParser parser;
    const bool parsed = parser.ParseSPS(bytes.data(), bytes.intSize(), sps);
    std::vector<unsigned int> expected(13, kMark);
    require(parsed == test::PlainSps(bytes.data(), bytes.size()).parse(expected));
    require(fieldsOf(sps) == expected);
    int width = 0;
    int height = 0;
    require(!parser.CalcResolution(sps, width, height) || (width >= 1 && height >= 1));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Input input(data, size);
    scan(input);
    parse(ExactBytes::of(data, data + size));
    return 0;
}
