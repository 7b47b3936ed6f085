#include <Hasutil/H264HeaderParser.h>
#include <support/ExactBytes.h>
#include <support/Samples.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using hascommon::H264HeaderParser;
using hascommon::H264SequenceSetParse;
using test::ExactBytes;

ExactBytes fromHex(const std::string& hex) {
    ExactBytes bytes(hex.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    return bytes;
}

/// Profiles that carry chroma elements without being among the four the parser expects them in.
bool isBeyondTheParser(int profile) {
    return profile == 244 || profile == 44;
}

void expectFields(const H264SequenceSetParse& sps, const nlohmann::json& expected) {
    EXPECT_EQ(sps.seq_parameter_set_id, expected["sps_id"]);
    EXPECT_EQ(sps.log2_max_frame_num_minus4 + 4, expected["log2_max_frame_num"]);
    EXPECT_EQ(sps.pic_order_cnt_type, expected["pic_order_cnt_type"]);
    if (sps.pic_order_cnt_type == 0) {
        EXPECT_EQ(sps.log2_max_pic_order_cnt_lsb_minus4 + 4, expected["log2_max_poc_lsb"]);
    }
    EXPECT_EQ(sps.pic_width_in_mbs_minus1 + 1, expected["pic_width_in_mbs"]);
    EXPECT_EQ(sps.pic_height_in_map_units_minus1 + 1, expected["pic_height_in_map_units"]);
    EXPECT_EQ(sps.frame_mbs_only_flag, expected["frame_mbs_only_flag"]);
    EXPECT_EQ(sps.frame_cropping_flag, expected["frame_cropping_flag"]);
}

void expectResolution(const H264SequenceSetParse& sps, const nlohmann::json& expected) {
    H264HeaderParser parser;
    int width = 0;
    int height = 0;
    const bool accepted = parser.CalcResolution(sps, width, height);
    const bool oneMacroblock = expected["pic_width_in_mbs"] == 1;
    EXPECT_EQ(accepted, !oneMacroblock);
    if (oneMacroblock)
        return;
    EXPECT_EQ(width, expected["width"]);
    EXPECT_EQ(height, expected["height"]);
}

TEST(H264Samples, ParameterSetsParseToTheKnownFields) {
    int parsed = 0;
    for (const auto& file : test::sampleJson("dev-expected/h264.json")) {
        for (const auto& expected : file["sps"]) {
            SCOPED_TRACE(file["file"].get<std::string>());
            if (isBeyondTheParser(expected["profile_idc"]))
                continue;
            const ExactBytes nal = fromHex(expected["sps_hex"]);
            const ExactBytes payload(
                std::vector<unsigned char>(nal.data() + 1, nal.data() + nal.size()));
            H264HeaderParser parser;
            H264SequenceSetParse sps;
            ASSERT_TRUE(parser.ParseSPS(payload.data(), payload.intSize(), sps));
            expectFields(sps, expected);
            expectResolution(sps, expected);
            ++parsed;
        }
    }
    EXPECT_GE(parsed, 5);
}

TEST(H264Samples, TheSetIsFoundWhereItLiesInTheStream) {
    for (const auto& file : test::sampleJson("dev-expected/h264.json")) {
        SCOPED_TRACE(file["file"].get<std::string>());
        const ExactBytes stream = test::sample(file["file"]);
        const ExactBytes expected = fromHex(file["sps"][0]["sps_hex"]);
        H264HeaderParser parser;
        ASSERT_EQ(parser.ParseHeader(stream.data(), stream.intSize()), 1);
        const auto at = static_cast<size_t>(parser.GetSpsOffet());
        ASSERT_LE(at + expected.size(), stream.size());
        const std::vector<unsigned char> found(stream.data() + at,
                                               stream.data() + at + expected.size());
        EXPECT_EQ(found, expected.copy());
    }
}

TEST(H264Samples, AStreamParsesFromTheOffsetToItsEnd) {
    for (const auto& file : test::sampleJson("dev-expected/h264.json")) {
        SCOPED_TRACE(file["file"].get<std::string>());
        const auto& expected = file["sps"][0];
        if (isBeyondTheParser(expected["profile_idc"]))
            continue;
        const ExactBytes stream = test::sample(file["file"]);
        H264HeaderParser parser;
        ASSERT_EQ(parser.ParseHeader(stream.data(), stream.intSize()), 1);
        const int behind = parser.GetSpsOffet() + 1;
        H264SequenceSetParse sps;
        ASSERT_TRUE(parser.ParseSPS(stream.data() + behind, stream.intSize() - behind, sps));
        expectResolution(sps, expected);
    }
}

} // namespace
