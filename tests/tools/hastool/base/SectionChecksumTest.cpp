#include <hastool/base/SectionChecksum.h>

#include <gtest/gtest.h>

#include <vector>

using hastool::sectionChecksum;

TEST(SectionChecksum, IsTheOneOfTheStandard) {
    const std::vector<unsigned char> bytes = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(sectionChecksum(bytes.data(), bytes.size()), 0x0376E6E7U);
}

TEST(SectionChecksum, IsZeroOverASectionWithItsChecksum) {
    const std::vector<unsigned char> bytes = {'1', '2', '3',  '4',  '5',  '6', '7',
                                              '8', '9', 0x03, 0x76, 0xE6, 0xE7};
    EXPECT_EQ(sectionChecksum(bytes.data(), bytes.size()), 0U);
}
