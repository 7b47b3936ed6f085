#include <tools/hastool/TsBuilder.h>

#include <hastool/media/PsiTables.h>

#include <gtest/gtest.h>

using test::Bytes;
using test::section;
using test::operator+;

TEST(PsiTables, ReadsThePat) {
    const auto pat =
        hastool::parsePat(section(0, 77, test::patEntry(0, 0x10) + test::patEntry(9, 0x1234), 3));
    ASSERT_TRUE(pat);
    EXPECT_EQ(pat->streamId, 77);
    EXPECT_EQ(pat->version, 3);
    EXPECT_TRUE(pat->isCurrent);
    ASSERT_EQ(pat->programs.size(), 2U);
    EXPECT_EQ(pat->programs[1].number, 9);
    EXPECT_EQ(pat->programs[1].pid, 0x1234);
}

TEST(PsiTables, ReadsThePmt) {
    const Bytes language = {0x0A, 4, 'e', 'n', 'g', 0};
    const auto pmt = hastool::parsePmt(section(
        2, 5,
        test::pmtBody(0x101, test::caDescriptor(0x4AD4, 0x1FE0, {1, 2}) + language,
                      test::stream(0x1B, 0x101, language + test::caDescriptor(0xB00, 0x55)) +
                          test::stream(0x0F, 0x102))));
    ASSERT_TRUE(pmt);
    EXPECT_EQ(pmt->program, 5);
    EXPECT_EQ(pmt->pcrPid, 0x101);
    ASSERT_EQ(pmt->ca.size(), 1U);
    EXPECT_EQ(pmt->ca[0].systemId, 0x4AD4U);
    EXPECT_EQ(pmt->ca[0].pid, 0x1FE0);
    EXPECT_EQ(pmt->ca[0].privateData, (Bytes{1, 2}));
    ASSERT_EQ(pmt->streams.size(), 2U);
    EXPECT_EQ(pmt->streams[0].type, 0x1BU);
    ASSERT_EQ(pmt->streams[0].ca.size(), 1U);
    EXPECT_EQ(pmt->streams[0].ca[0].pid, 0x55);
    EXPECT_EQ(pmt->streams[1].pid, 0x102);
}

TEST(PsiTables, ReadsTheCat) {
    const auto cat = hastool::parseCat(section(1, 0xFFFF, test::caDescriptor(0x100, 0x44, {7})));
    ASSERT_TRUE(cat);
    EXPECT_EQ(*cat, (std::vector<hastool::CaInfo>{{0x100, 0x44, {7}}}));
}

TEST(PsiTables, HoldsLengthsInsideToTheSection) {
    Bytes body = test::pmtBody(0x101, {}, test::stream(0x1B, 0x101, {9, 200, 1, 2, 0xE0, 3}));
    body[7] = 0xFF; // the stream's descriptors seem to have 4,095 bytes
    body[8] = 0xFF;
    const auto pmt = hastool::parsePmt(section(2, 1, body));
    ASSERT_TRUE(pmt);
    ASSERT_EQ(pmt->streams.size(), 1U);
    ASSERT_EQ(pmt->streams[0].ca.size(), 1U);
    EXPECT_EQ(pmt->streams[0].ca[0].pid, 3);
    body[2] = 0xFF; // and now those of the program
    EXPECT_TRUE(hastool::parsePmt(section(2, 1, body))->streams.empty());
}

TEST(PsiTables, CutDescriptorsAreLeftOut) {
    EXPECT_TRUE(hastool::parseCat(section(1, 0, {9, 3, 1, 2, 3}))->empty());
    EXPECT_TRUE(hastool::parseCat(section(1, 0, {9}))->empty());
    EXPECT_FALSE(hastool::parsePmt(section(2, 0, {1, 2, 3})));
}

TEST(PsiTables, AreToldApart) {
    const Bytes pat = section(0, 1, test::patEntry(1, 2));
    EXPECT_FALSE(hastool::parsePmt(pat));
    EXPECT_FALSE(hastool::parseCat(pat));
    EXPECT_FALSE(hastool::parsePat(section(2, 1, test::pmtBody(1, {}, {}))));
    EXPECT_FALSE(hastool::parsePat({}));
}

TEST(PsiTables, NamesStreamTypes) {
    const std::pair<unsigned int, const char*> names[] = {
        {0x01, "MPEG-1 video"},     {0x02, "MPEG-2 video"},     {0x03, "MPEG-1 audio"},
        {0x04, "MPEG-2 audio"},     {0x05, "private sections"}, {0x06, "private data"},
        {0x0B, "DSM-CC"},           {0x0F, "AAC audio"},        {0x10, "MPEG-4 video"},
        {0x11, "AAC audio (LATM)"}, {0x15, "metadata"},         {0x1B, "H.264 video"},
        {0x24, "H.265 video"},      {0x81, "AC-3 audio"},       {0x86, "SCTE-35"},
        {0x87, "E-AC-3 audio"},     {0x7F, "reserved"},         {0xEA, "user private"}};
    for (const auto& [type, name] : names)
        EXPECT_EQ(hastool::streamTypeName(type), name) << type;
}
