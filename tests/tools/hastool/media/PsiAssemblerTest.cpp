#include <tools/hastool/TsBuilder.h>

#include <hastool/media/PsiAssembler.h>

#include <gtest/gtest.h>

using hastool::PsiAssembler;
using test::Bytes;
using test::Packet;
using test::section;
using test::operator+;

namespace {

class PsiAssemblerTest : public testing::Test {
protected:
    void push(const Bytes& payload, bool start, bool follows = true) {
        Packet packet;
        packet.payload = payload;
        packet.start = start;
        m_assembler.push(test::unitOf(packet), follows);
    }

    std::vector<Bytes> m_sections;
    PsiAssembler m_assembler{[this](const Bytes& it) { m_sections.push_back(it); }};
};

Bytes part(const Bytes& bytes, size_t from, size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

const Bytes kSmall = section(0, 1, test::patEntry(1, 0x100));
const Bytes kLarge = section(2, 1, Bytes(400, 0x55));

} // namespace

TEST_F(PsiAssemblerTest, TakesSeveralSectionsOfOnePacket) {
    push(Bytes{0} + kSmall + kSmall + Bytes{0xFF, 0xFF}, true);
    EXPECT_EQ(m_sections, (std::vector<Bytes>{kSmall, kSmall}));
    EXPECT_EQ(m_assembler.badSections(), 0U);
}

TEST_F(PsiAssemblerTest, JoinsASectionOverPacketsWithTheNextOneBehindIt) {
    push(Bytes{0} + part(kLarge, 0, 183), true);
    push(part(kLarge, 183, 367), false);
    const Bytes rest = part(kLarge, 367, kLarge.size());
    push(Bytes{static_cast<unsigned char>(rest.size())} + rest + kSmall, true);
    EXPECT_EQ(m_sections, (std::vector<Bytes>{kLarge, kSmall}));
}

TEST_F(PsiAssemblerTest, ASectionMayBeginWithOneByteInAPacket) {
    push(Bytes{0} + part(kSmall, 0, 1), true);
    push(part(kSmall, 1, kSmall.size()), false);
    EXPECT_EQ(m_sections, std::vector<Bytes>{kSmall});
}

TEST_F(PsiAssemblerTest, DropsASectionThatLostAPacket) {
    push(Bytes{0} + part(kLarge, 0, 183), true);
    push(part(kLarge, 183, 367), false, false);
    push(part(kLarge, 367, kLarge.size()), false);
    EXPECT_TRUE(m_sections.empty());
    push(Bytes{0} + kSmall, true);
    EXPECT_EQ(m_sections, std::vector<Bytes>{kSmall});
}

TEST_F(PsiAssemblerTest, WaitsForAPointer) {
    push(kSmall, false);
    EXPECT_TRUE(m_sections.empty());
}

TEST_F(PsiAssemblerTest, APointerOverThePacketsEndIsNotFollowed) {
    push({200, 0, 0}, true);
    push(Bytes{0} + kSmall, true);
    EXPECT_EQ(m_sections, std::vector<Bytes>{kSmall});
}

TEST_F(PsiAssemblerTest, CountsSectionsWithAWrongChecksum) {
    Bytes wrong = kSmall;
    wrong.back() ^= 1;
    push(Bytes{0} + wrong + kSmall, true);
    EXPECT_EQ(m_sections, std::vector<Bytes>{kSmall});
    EXPECT_EQ(m_assembler.badSections(), 1U);
}

TEST_F(PsiAssemblerTest, CountsSectionsOfAnotherForm) {
    push({0, 0x70, 0x00, 0x01, 0x05, 0xFF}, true);
    EXPECT_TRUE(m_sections.empty());
    EXPECT_EQ(m_assembler.badSections(), 1U);
}
