// The fields that are read from boxes of the Protected Interoperable File Format.
#include <tools/hastool/BoxList.h>

#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using nlohmann::json;
using test::be;
using test::BoxList;
using test::fullBox;
using test::mp4Box;
using test::zeros;

namespace {

const std::string kKey = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x10\x11\x12\x13\x14\x15\x16";
const std::string kKeyText = "01020304050607080910111213141516";

std::string bytes(const std::string& hex) {
    std::string result;
    for (size_t i = 0; i < hex.size(); i += 2)
        result += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return result;
}
std::string piff(const std::string& uuid, uint64_t flags, const std::string& content) {
    return mp4Box("uuid", bytes(uuid) + be(flags) + content);
}
std::string trackBox(uint64_t ivSize) {
    return piff("8974dbce7be74c5184f97148f9882554", 0, be(1, 3) + be(ivSize, 1) + kKey);
}
std::string samplesBox(uint64_t flags, const std::string& content) {
    return piff("a2394f525a9b4f14a2446c427c648df4", flags, content);
}
std::string psshBox(const std::string& data, uint64_t size) {
    return piff("d08a4f1810f34a82b6c832d8aba183d3", 0,
                bytes("9a04f07998404286ab92e65be0885f95") + be(size) + data);
}
std::string movie(const std::string& box) {
    return mp4Box("moov", mp4Box("trak", fullBox("tkhd", 0, 0, zeros(8) + be(1) + zeros(68)) +
                                             mp4Box("schi", box)));
}
std::string fragment(const std::string& box) {
    return mp4Box("moof", mp4Box("traf", fullBox("tfhd", 0, 0, be(1)) + box));
}
json lastOf(const std::string& boxes) {
    const BoxList list(boxes);
    EXPECT_EQ(list.trouble(), "");
    return list.at(list.size() - 1).facts;
}

} // namespace

TEST(PiffFields, TrackEncryptionIsTold) {
    const json facts = lastOf(movie(trackBox(8)));
    EXPECT_EQ(facts["name"], "PIFF track encryption");
    EXPECT_EQ(facts["algorithm_id"], 1);
    EXPECT_EQ(facts["iv_size"], 8);
    EXPECT_EQ(facts["kid"], kKeyText);
}

TEST(PiffFields, SampleEncryptionTakesTheIvSizeOfItsTrack) {
    for (const uint64_t size : {8U, 16U}) {
        const std::string entries = zeros(16); // two IVs of 8 bytes, or one of 16
        const json facts =
            lastOf(movie(trackBox(size)) + fragment(samplesBox(0, be(16 / size) + entries)));
        EXPECT_EQ(facts["name"], "PIFF sample encryption");
        EXPECT_EQ(facts["sample_count"], 16 / size);
        EXPECT_EQ(facts["iv_size"], size);
    }
}

TEST(PiffFields, SampleEncryptionTellsItsSubsamples) {
    const std::string entry = zeros(8) + be(2, 2) + zeros(12);
    const json facts = lastOf(samplesBox(2, be(2) + entry + entry));
    EXPECT_EQ(facts["flags"], 2);
    EXPECT_EQ(facts["subsample_count"], 4);
}

TEST(PiffFields, SampleEncryptionMayHaveFieldsOfItsOwn) {
    const std::string own = be(2, 3) + be(16, 1) + kKey;
    const json facts =
        lastOf(movie(trackBox(8)) + fragment(samplesBox(1, own + be(1) + zeros(16))));
    EXPECT_EQ(facts["algorithm_id"], 2);
    EXPECT_EQ(facts["iv_size"], 16);
    EXPECT_EQ(facts["kid"], kKeyText);
    const BoxList both(movie(trackBox(8)) +
                       fragment(samplesBox(1, own + be(0)) + samplesBox(0, be(2) + zeros(16))));
    EXPECT_EQ(both.at(both.size() - 1).facts["iv_size"], 8) << "of one box, not of the fragment";
}

TEST(PiffFields, SystemsAreTold) {
    const json facts = lastOf(psshBox("data", 4));
    EXPECT_EQ(facts["name"], "PIFF pssh");
    EXPECT_EQ(facts["system"], "PlayReady");
    EXPECT_EQ(facts["data_size"], 4);
}

TEST(PiffFields, WhatIsCutIsTrouble) {
    EXPECT_NE(BoxList(psshBox("data", 5)).trouble(), "");
    EXPECT_NE(BoxList(samplesBox(0, be(2) + zeros(15))).trouble(), "");
    EXPECT_NE(BoxList(samplesBox(1, be(2, 3))).trouble(), "");
    EXPECT_NE(BoxList(piff("8974dbce7be74c5184f97148f9882554", 0, be(1))).trouble(), "");
}
