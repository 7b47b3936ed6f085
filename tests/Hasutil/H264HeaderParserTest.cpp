#include <Hasutil/H264HeaderParser.h>
#include <support/BitString.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <vector>

namespace {

using hascommon::H264HeaderParser;
using hascommon::H264SequenceSetParse;
using test::BitString;
using test::ExactBytes;

int parseHeader(H264HeaderParser& parser, const ExactBytes& bytes) {
    return parser.ParseHeader(bytes.data(), bytes.intSize());
}

int parseHeader(const ExactBytes& bytes) {
    H264HeaderParser parser;
    return parseHeader(parser, bytes);
}

TEST(H264ParseHeader, SpsBehindAThreeByteStartCode) {
    H264HeaderParser parser;
    EXPECT_EQ(parseHeader(parser, {0x00, 0x00, 0x01, 0x67, 0x42}), 1);
    EXPECT_EQ(parser.GetSpsOffet(), 3);
}

TEST(H264ParseHeader, SpsBehindAFourByteStartCode) {
    H264HeaderParser parser;
    EXPECT_EQ(parseHeader(parser, {0x00, 0x00, 0x00, 0x01, 0x67}), 1);
    EXPECT_EQ(parser.GetSpsOffet(), 4);
}

TEST(H264ParseHeader, ANonIdrSliceEndsTheScan) {
    EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, 0x41, 0x00, 0x00, 0x01, 0x67}), 2);
}

TEST(H264ParseHeader, AnIdrSliceIsPassedOver) {
    EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, 0x65, 0x88}), 0);
    EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, 0x65, 0x00, 0x00, 0x01, 0x27}), 1);
}

TEST(H264ParseHeader, OnlyTheTypeBitsOfTheNalHeaderCount) {
    for (const int header : {0x07, 0x27, 0x47, 0x67, 0xE7})
        EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, header}), 1) << header;
    for (const int header : {0x21, 0x41, 0x61})
        EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, header}), 2) << header;
}

TEST(H264ParseHeader, OneZeroIsNoStartCode) {
    EXPECT_EQ(parseHeader({0x00, 0x01, 0x67}), 0);
}

TEST(H264ParseHeader, ZerosBehindTheOneCountToo) {
    EXPECT_EQ(parseHeader({0x01, 0x00, 0x00, 0x67}), 1);
    EXPECT_EQ(parseHeader({0x00, 0x01, 0x00, 0x67}), 1);
}

TEST(H264ParseHeader, ASecondOneBehindTooFewZerosStartsOver) {
    EXPECT_EQ(parseHeader({0x00, 0x01, 0x01, 0x00, 0x00, 0x67}), 0);
}

TEST(H264ParseHeader, ASecondOneBehindAStartCodeReadsAsASliceHeader) {
    EXPECT_EQ(parseHeader({0x00, 0x00, 0x01, 0x01}), 2);
}

TEST(H264ParseHeader, NoBytesAreNothing) {
    H264HeaderParser parser;
    unsigned char byte = 0x67;
    EXPECT_EQ(parser.ParseHeader(&byte, 0), 0);
    EXPECT_EQ(parser.ParseHeader(&byte, -1), 0);
    EXPECT_EQ(parser.ParseHeader(nullptr, 4), 0);
}

TEST(H264ParseHeader, AStartCodeSplitAnywhereIsFound) {
    const std::vector<unsigned char> stream{0xFF, 0x00, 0x00, 0x00, 0x01, 0x67, 0x42};
    for (size_t split = 0; split <= 5; ++split) {
        H264HeaderParser parser;
        const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(split);
        EXPECT_EQ(parseHeader(parser, ExactBytes::of(stream.begin(), middle)), 0);
        EXPECT_EQ(parseHeader(parser, ExactBytes::of(middle, stream.end())), 1) << split;
        EXPECT_EQ(parser.GetSpsOffet(), static_cast<int>(5 - split));
    }
}

TEST(H264ParseHeader, ResetForgetsTheBegunStartCode) {
    H264HeaderParser parser;
    parseHeader(parser, {0x00, 0x00, 0x01});
    parser.Reset();
    EXPECT_EQ(parseHeader(parser, {0x67}), 0);
}

TEST(H264ParseHeader, ResetKeepsTheOffset) {
    H264HeaderParser parser;
    EXPECT_EQ(parser.GetSpsOffet(), 0);
    parseHeader(parser, {0x00, 0x00, 0x01, 0x67});
    parser.Reset();
    EXPECT_EQ(parser.GetSpsOffet(), 3);
}

TEST(H264ParseHeader, StandsBehindTheStartCodeAfterAFind) {
    H264HeaderParser parser;
    parseHeader(parser, {0x00, 0x00, 0x01, 0x67});
    EXPECT_EQ(parseHeader(parser, {0x67}), 1);
    EXPECT_EQ(parser.GetSpsOffet(), 0);
}

TEST(H264ParseHeader, OffsetIsKeptByOtherResults) {
    H264HeaderParser parser;
    parseHeader(parser, {0x00, 0x00, 0x01, 0x67});
    parser.Reset();
    EXPECT_EQ(parseHeader(parser, {0xFF, 0x00, 0x00, 0x01, 0x41}), 2);
    EXPECT_EQ(parser.GetSpsOffet(), 3);
}

/// A sequence parameter set's elements, with defaults of a small progressive picture.
struct Sps {
    unsigned int profile = 66;
    unsigned int id = 0;
    std::function<void(BitString&)> chroma;
    unsigned int frameNum = 0;
    std::function<void(BitString&)> picOrder = [](BitString& bits) { bits.ue(2); };
    unsigned int width = 10;
    unsigned int height = 8;
    bool frameOnly = true;
    std::vector<unsigned int> crop;

    BitString bits() const {
        BitString out;
        out.u(8, profile).u(4, 0).u(4, 0).u(8, 31).ue(id);
        if (chroma)
            chroma(out);
        out.ue(frameNum);
        picOrder(out);
        out.ue(4).u(1, 1).ue(width).ue(height).u(1, frameOnly ? 1 : 0);
        if (!frameOnly)
            out.u(1, 1);
        out.u(1, 1).u(1, crop.empty() ? 0 : 1);
        for (const unsigned int offset : crop)
            out.ue(offset);
        return out;
    }
    ExactBytes payload() const { return ExactBytes(bits().payload()); }
};

bool parseSps(const ExactBytes& bytes, H264SequenceSetParse& out) {
    H264HeaderParser parser;
    return parser.ParseSPS(bytes.data(), bytes.intSize(), out);
}

H264SequenceSetParse parsed(const Sps& sps) {
    H264SequenceSetParse out;
    EXPECT_TRUE(parseSps(sps.payload(), out));
    return out;
}

TEST(H264ParseSps, FieldsOfAProgressivePicture) {
    Sps sps;
    sps.id = 5;
    sps.frameNum = 12;
    sps.crop = {1, 2, 3, 4};
    const H264SequenceSetParse out = parsed(sps);
    EXPECT_EQ(out.seq_parameter_set_id, 5U);
    EXPECT_EQ(out.log2_max_frame_num_minus4, 12U);
    EXPECT_EQ(out.pic_order_cnt_type, 2U);
    EXPECT_EQ(out.pic_width_in_mbs_minus1, 10U);
    EXPECT_EQ(out.pic_height_in_map_units_minus1, 8U);
    EXPECT_EQ(out.frame_mbs_only_flag, 1U);
    EXPECT_EQ(out.frame_cropping_flag, 1U);
    EXPECT_EQ(out.frame_crop_left_offset, 1U);
    EXPECT_EQ(out.frame_crop_right_offset, 2U);
    EXPECT_EQ(out.frame_crop_top_offset, 3U);
    EXPECT_EQ(out.frame_crop_bottom_offset, 4U);
}

TEST(H264ParseSps, AnInterlacedPictureCarriesOneFlagMore) {
    Sps sps;
    sps.frameOnly = false;
    sps.crop = {0, 0, 0, 2};
    const H264SequenceSetParse out = parsed(sps);
    EXPECT_EQ(out.frame_mbs_only_flag, 0U);
    EXPECT_EQ(out.frame_crop_bottom_offset, 2U);
}

TEST(H264ParseSps, OrderCountType0CarriesItsLsb) {
    Sps sps;
    sps.picOrder = [](BitString& bits) { bits.ue(0).ue(6); };
    const H264SequenceSetParse out = parsed(sps);
    EXPECT_EQ(out.pic_order_cnt_type, 0U);
    EXPECT_EQ(out.log2_max_pic_order_cnt_lsb_minus4, 6U);
    EXPECT_EQ(out.pic_width_in_mbs_minus1, 10U);
}

TEST(H264ParseSps, OrderCountType1CarriesItsCycle) {
    Sps sps;
    sps.picOrder = [](BitString& bits) {
        bits.ue(1).u(1, 1).se(-3).se(4).ue(3).se(1).se(-1).se(100);
    };
    const H264SequenceSetParse out = parsed(sps);
    EXPECT_EQ(out.pic_order_cnt_type, 1U);
    EXPECT_EQ(out.delta_pic_order_always_zero_flag, 1U);
    EXPECT_EQ(out.pic_width_in_mbs_minus1, 10U);
}

TEST(H264ParseSps, OtherOrderCountTypesCarryNothing) {
    for (const unsigned int type : {2U, 3U, 77U}) {
        Sps sps;
        sps.picOrder = [type](BitString& bits) { bits.ue(type); };
        EXPECT_EQ(parsed(sps).pic_order_cnt_type, type);
        EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U);
    }
}

TEST(H264ParseSps, AnOrderCountCycleBeyondTheDataFails) {
    BitString bits;
    bits.u(8, 66).u(16, 0).ue(0).ue(0).ue(1).u(1, 0).se(0).se(0).ue(0xFFFFFFFEU).u(1, 1);
    H264SequenceSetParse out;
    EXPECT_FALSE(parseSps(ExactBytes(bits.payload()), out));
}

TEST(H264ParseSps, AnOrderCountCycleOf32BitsOfOnesFails) {
    // 32 zeros and 32 bits of 0 wrap to the highest count there is.
    BitString bits;
    bits.u(8, 66).u(16, 0).ue(0).ue(0).ue(1).u(1, 0).se(0).se(0).u(32, 0).u(1, 1).u(32, 0);
    for (int i = 0; i < 1000; ++i)
        bits.se(0);
    H264SequenceSetParse out;
    EXPECT_FALSE(parseSps(ExactBytes(bits.payload()), out));
}

void plainChroma(BitString& bits) {
    bits.ue(1).ue(0).ue(0).u(1, 0).u(1, 0);
}

TEST(H264ParseSps, FourProfilesCarryChromaElements) {
    for (const unsigned int profile : {100U, 110U, 122U, 144U}) {
        Sps sps;
        sps.profile = profile;
        sps.chroma = plainChroma;
        EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U) << profile;
    }
}

TEST(H264ParseSps, NoOtherProfileCarriesThem) {
    for (const unsigned int profile : {66U, 77U, 88U, 44U, 83U, 86U, 118U, 128U, 244U}) {
        Sps sps;
        sps.profile = profile;
        EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U) << profile;
    }
}

TEST(H264ParseSps, Chroma444CarriesItsPlaneFlag) {
    Sps sps;
    sps.profile = 122;
    sps.chroma = [](BitString& bits) { bits.ue(3).u(1, 1).ue(2).ue(2).u(1, 1).u(1, 0); };
    EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U);
}

TEST(H264ParseSps, EightScalingListsWhateverTheChromaFormat) {
    for (const unsigned int format : {0U, 1U, 2U}) {
        Sps sps;
        sps.profile = 100;
        sps.chroma = [format](BitString& bits) {
            bits.ue(format).ue(0).ue(0).u(1, 0).u(1, 1);
            for (int list = 0; list < 8; ++list) {
                bits.u(1, 1);
                for (int i = 0; i < (list < 6 ? 16 : 64); ++i)
                    bits.se(i % 2 == 0 ? 3 : -2);
            }
        };
        EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U) << format;
    }
}

TEST(H264ParseSps, ScalingListsMayBeAbsentOrEndEarly) {
    Sps sps;
    sps.profile = 100;
    sps.chroma = [](BitString& bits) {
        bits.ue(1).ue(0).ue(0).u(1, 0).u(1, 1);
        for (int list = 0; list < 8; ++list) {
            bits.u(1, list % 2 == 0 ? 1 : 0);
            if (list % 2 == 0)
                bits.se(-8);
        }
    };
    EXPECT_EQ(parsed(sps).pic_width_in_mbs_minus1, 10U);
}

TEST(H264ParseSps, EmulationPreventionIsRemoved) {
    Sps sps;
    sps.frameNum = 0x7FFFFFFF; // 31 zeros
    const ExactBytes payload = sps.payload();
    ASSERT_GT(payload.size(), sps.bits().bytes().size());
    H264SequenceSetParse out;
    EXPECT_TRUE(parseSps(payload, out));
    EXPECT_EQ(out.log2_max_frame_num_minus4, 0x7FFFFFFFU);
    EXPECT_EQ(out.pic_width_in_mbs_minus1, 10U);
}

TEST(H264ParseSps, ASetCutInsideTheCropOffsetsFails) {
    Sps sps;
    sps.crop = {1, 1, 1, 1000};
    const std::vector<unsigned char> whole = sps.bits().payload();
    H264SequenceSetParse out;
    EXPECT_FALSE(parseSps(ExactBytes::of(whole.begin(), whole.end() - 1), out));
    EXPECT_EQ(out.frame_crop_top_offset, 1U);
    EXPECT_EQ(out.frame_crop_bottom_offset, 0U);
}

H264SequenceSetParse marked(unsigned int mark) {
    H264SequenceSetParse out;
    auto* const fields = &out.seq_parameter_set_id;
    for (size_t i = 0; i < sizeof(out) / sizeof(*fields); ++i)
        fields[i] = mark;
    return out;
}

TEST(H264ParseSps, EveryCutFailsAndWritesNoFieldThatWasNotRead) {
    Sps sps;
    sps.profile = 100;
    sps.chroma = plainChroma;
    sps.picOrder = [](BitString& bits) { bits.ue(0).ue(6); };
    sps.crop = {200, 300, 400, 500};
    const std::vector<unsigned char> whole = sps.bits().payload();
    const H264SequenceSetParse complete = parsed(sps);
    constexpr unsigned int kMark = 0xA5A5A5A5U;
    for (size_t length = 0; length < whole.size(); ++length) {
        H264SequenceSetParse out = marked(kMark);
        const auto end = whole.begin() + static_cast<std::ptrdiff_t>(length);
        EXPECT_FALSE(parseSps(ExactBytes::of(whole.begin(), end), out)) << length;
        const unsigned int* const got = &out.seq_parameter_set_id;
        const unsigned int* const right = &complete.seq_parameter_set_id;
        for (size_t i = 0; i < 13; ++i)
            EXPECT_TRUE(got[i] == kMark || got[i] == right[i]) << length << ", field " << i;
    }
}

TEST(H264ParseSps, FieldsTheStreamDoesNotCarryStayAsTheyWere) {
    H264SequenceSetParse out = marked(77);
    EXPECT_TRUE(parseSps(Sps().payload(), out));
    EXPECT_EQ(out.delta_pic_order_always_zero_flag, 77U);
    EXPECT_EQ(out.log2_max_pic_order_cnt_lsb_minus4, 77U);
    EXPECT_EQ(out.frame_cropping_flag, 0U);
    EXPECT_EQ(out.frame_crop_left_offset, 77U);
}

TEST(H264ParseSps, NoBytesFail) {
    H264HeaderParser parser;
    H264SequenceSetParse out;
    unsigned char byte = 66;
    EXPECT_FALSE(parser.ParseSPS(&byte, 0, out));
    EXPECT_FALSE(parser.ParseSPS(&byte, -5, out));
    EXPECT_FALSE(parser.ParseSPS(nullptr, 5, out));
}

TEST(H264ParseSps, OneParserParsesManySets) {
    H264HeaderParser parser;
    for (const unsigned int width : {10U, 4000U, 3U}) {
        Sps sps;
        sps.width = width;
        const ExactBytes payload = sps.payload();
        H264SequenceSetParse out;
        EXPECT_TRUE(parser.ParseSPS(payload.data(), payload.intSize(), out));
        EXPECT_EQ(out.pic_width_in_mbs_minus1, width);
    }
}

TEST(H264ParseSps, LeavesTheCallersBytesAlone) {
    const ExactBytes payload = Sps().payload();
    const std::vector<unsigned char> before = payload.copy();
    H264SequenceSetParse out;
    parseSps(payload, out);
    EXPECT_EQ(payload.copy(), before);
}

struct Resolution {
    bool accepted;
    int width;
    int height;
};

Resolution resolution(const H264SequenceSetParse& sps) {
    H264HeaderParser parser;
    Resolution out{false, -77, -77};
    out.accepted = parser.CalcResolution(sps, out.width, out.height);
    return out;
}

H264SequenceSetParse picture(unsigned int width, unsigned int height, unsigned int frameOnly) {
    H264SequenceSetParse sps;
    sps.pic_width_in_mbs_minus1 = width;
    sps.pic_height_in_map_units_minus1 = height;
    sps.frame_mbs_only_flag = frameOnly;
    return sps;
}

TEST(H264CalcResolution, FullHdIsCroppedTo1080Lines) {
    H264SequenceSetParse sps = picture(119, 67, 1);
    sps.frame_crop_bottom_offset = 4;
    const Resolution out = resolution(sps);
    EXPECT_TRUE(out.accepted);
    EXPECT_EQ(out.width, 1920);
    EXPECT_EQ(out.height, 1080);
}

TEST(H264CalcResolution, FieldCodedHeightsCountTwice) {
    H264SequenceSetParse sps = picture(119, 33, 0);
    sps.frame_crop_bottom_offset = 2;
    const Resolution out = resolution(sps);
    EXPECT_TRUE(out.accepted);
    EXPECT_EQ(out.height, 1080);
}

TEST(H264CalcResolution, AllFourCropsCount) {
    H264SequenceSetParse sps = picture(9, 9, 1);
    sps.frame_crop_left_offset = 1;
    sps.frame_crop_right_offset = 2;
    sps.frame_crop_top_offset = 3;
    sps.frame_crop_bottom_offset = 4;
    const Resolution out = resolution(sps);
    EXPECT_EQ(out.width, 154);
    EXPECT_EQ(out.height, 146);
}

TEST(H264CalcResolution, OneMacroblockIsRefusedAndNothingWritten) {
    for (const auto& sps : {picture(0, 9, 1), picture(9, 0, 1), picture(0, 0, 1)}) {
        const Resolution out = resolution(sps);
        EXPECT_FALSE(out.accepted);
        EXPECT_EQ(out.width, -77);
        EXPECT_EQ(out.height, -77);
    }
}

TEST(H264CalcResolution, ACropOfTheWholePictureIsWrittenAndFalse) {
    H264SequenceSetParse sps = picture(1, 1, 1);
    sps.frame_crop_left_offset = 16;
    Resolution out = resolution(sps);
    EXPECT_FALSE(out.accepted);
    EXPECT_EQ(out.width, 0);
    EXPECT_EQ(out.height, 32);
    sps.frame_crop_left_offset = 0;
    sps.frame_crop_top_offset = 20;
    out = resolution(sps);
    EXPECT_FALSE(out.accepted);
    EXPECT_EQ(out.height, -8);
}

TEST(H264CalcResolution, HugeFieldsWrap) {
    const Resolution out = resolution(picture(UINT_MAX, UINT_MAX, 7));
    EXPECT_FALSE(out.accepted);
    EXPECT_EQ(out.width, 0);
    EXPECT_EQ(out.height, 0);
}

} // namespace
