// Holds the header scan to a plain byte-by-byte one.
#include <Hasutil/H264HeaderParser.h>
#include <support/ExactBytes.h>
#include <support/PlainHeaderScan.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

using hascommon::H264HeaderParser;
using test::ExactBytes;
using test::PlainHeaderScan;

/// Scans a piece with both and tells whether they agree.
bool agree(H264HeaderParser& parser, PlainHeaderScan& plain, const unsigned char* bytes,
           size_t size) {
    // The parser takes a pointer to non-const bytes, but only reads them.
    const int found = parser.ParseHeader(const_cast<unsigned char*>(bytes), static_cast<int>(size));
    return found == plain.scan(bytes, size) && parser.GetSpsOffet() == plain.offset();
}

bool agreeOnSplit(const unsigned char* bytes, size_t size, size_t split) {
    H264HeaderParser parser;
    PlainHeaderScan plain;
    return agree(parser, plain, bytes, split) && agree(parser, plain, bytes + split, size - split);
}

TEST(StartCodeScan, AllShortStreamsSplitAtEveryPosition) {
    constexpr unsigned char kAlphabet[] = {0, 1, 2, 0x67, 0x41};
    constexpr size_t kLength = 7;
    ExactBytes stream(kLength);
    for (unsigned int number = 0; number < 5 * 5 * 5 * 5 * 5 * 5 * 5; ++number) {
        unsigned int rest = number;
        for (size_t i = 0; i < kLength; ++i, rest /= 5)
            stream[i] = kAlphabet[rest % 5];
        for (size_t split = 0; split <= kLength; ++split)
            ASSERT_TRUE(agreeOnSplit(stream.data(), kLength, split)) << number << " at " << split;
    }
}

TEST(StartCodeScan, EveryPatternAtEveryOffsetOfALongStream) {
    constexpr unsigned char kAlphabet[] = {0, 1, 0x67};
    for (size_t size : {300U, 301U}) {
        const ExactBytes stream(size, 0xFF);
        for (size_t at = 0; at + 5 <= size; ++at) {
            for (unsigned int number = 0; number < 3 * 3 * 3 * 3 * 3; ++number) {
                unsigned int rest = number;
                for (size_t i = 0; i < 5; ++i, rest /= 3)
                    stream[at + i] = kAlphabet[rest % 3];
                ASSERT_TRUE(agreeOnSplit(stream.data(), size, 0)) << number << " at " << at;
            }
            memset(stream.data() + at, 0xFF, 5);
        }
    }
}

TEST(StartCodeScan, RandomStreamsOfAllDensitiesSplitAtEveryPosition) {
    std::mt19937 random(8); // the same run every time
    for (unsigned int round = 0; round < 2000; ++round) {
        const ExactBytes stream(random() % 200);
        const unsigned int density = round % 40 + 1;
        for (size_t i = 0; i < stream.size(); ++i)
            stream[i] =
                static_cast<unsigned char>(random() % density == 0 ? random() % 3 : random());
        for (size_t split = 0; split <= stream.size(); ++split)
            ASSERT_TRUE(agreeOnSplit(stream.data(), stream.size(), split)) << round;
    }
}

TEST(StartCodeScan, ManyPiecesCarryTheStateOn) {
    std::mt19937 random(9); // the same run every time
    for (unsigned int round = 0; round < 500; ++round) {
        H264HeaderParser parser;
        PlainHeaderScan plain;
        for (int piece = 0; piece < 20; ++piece) {
            const ExactBytes bytes(random() % 300);
            for (size_t i = 0; i < bytes.size(); ++i)
                bytes[i] = static_cast<unsigned char>(random() % 8 == 0 ? random() % 2 : random());
            ASSERT_TRUE(agree(parser, plain, bytes.data(), bytes.size()));
        }
    }
}

} // namespace
