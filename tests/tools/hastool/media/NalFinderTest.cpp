#include <tools/hastool/TsBuilder.h>

#include <hastool/media/NalFinder.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

using hastool::NalFinder;
using test::Bytes;

namespace {

/// The units found when the stream comes in pieces of a size.
std::vector<Bytes> found(const Bytes& stream, size_t piece) {
    std::vector<Bytes> units;
    NalFinder finder([&units](const Bytes& unit) { units.push_back(unit); });
    for (size_t at = 0; at < stream.size(); at += piece) {
        const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
        const size_t size = std::min(piece, stream.size() - at);
        const auto bytes = test::ExactBytes::of(begin, begin + static_cast<std::ptrdiff_t>(size));
        finder.push(bytes.data(), bytes.size());
    }
    finder.finish();
    return units;
}

std::vector<Bytes> found(const Bytes& stream) {
    return found(stream, stream.size());
}

} // namespace

TEST(NalFinder, FindsSetsBehindShortAndLongStartCodes) {
    const std::vector<Bytes> expected = {{0x67, 1, 2}, {0x27, 3}};
    EXPECT_EQ(found({0, 0, 0, 1, 0x67, 1, 2, 0, 0, 1, 0x68, 9, 0, 0, 1, 0x27, 3}), expected);
}

TEST(NalFinder, EverySplitGivesTheSame) {
    const Bytes stream = {9, 0, 0, 0, 1,    0x67, 1, 0, 2, 0,    0, 3, 1,
                          0, 0, 0, 1, 0x41, 7,    0, 0, 1, 0x67, 5, 0, 0};
    const std::vector<Bytes> expected = {{0x67, 1, 0, 2, 0, 0, 3, 1}, {0x67, 5}};
    for (size_t piece = 1; piece <= stream.size(); ++piece)
        EXPECT_EQ(found(stream, piece), expected) << piece;
}

TEST(NalFinder, OtherUnitsAreLeftOut) {
    EXPECT_TRUE(found({0, 0, 1, 0x65, 1, 0, 0, 1, 0x41, 2, 0, 0, 1, 0x06, 7}).empty());
    EXPECT_TRUE(found({0, 1, 0x67, 5}).empty());
    EXPECT_TRUE(found({0, 0, 1}).empty());
}

TEST(NalFinder, AStartCodeInPlaceOfAHeaderBeginsAnew) {
    const std::vector<Bytes> expected = {{0x67, 4}};
    EXPECT_EQ(found({0, 0, 1, 0, 0, 1, 0x67, 4}), expected);
}

TEST(NalFinder, AnEndlessSetIsHeldToItsLimit) {
    Bytes stream(100000, 5);
    stream[0] = 0;
    stream[1] = 0;
    stream[2] = 1;
    stream[3] = 0x67;
    const auto units = found(stream);
    ASSERT_EQ(units.size(), 1U);
    EXPECT_EQ(units[0].size(), 4096U);
}
