#include <hastool/media/AdtsFrames.h>
#include <hastool/media/SegmentFacts.h>
#include <tools/hastool/FragmentBuilder.h>
#include <tools/hastool/ProgramBuilder.h>

#include <random>

#include <gtest/gtest.h>

using hastool::readSegmentFacts;
using hastool::SegmentFacts;
using test::operator+;
using Kind = hastool::SegmentFacts::Kind;

namespace {

Kind kindOf(const std::string& media) {
    return readSegmentFacts("", media).kind;
}

std::string randomBytes(size_t size) {
    std::mt19937 source(7);
    std::string bytes;
    while (bytes.size() < size)
        bytes += static_cast<char>(source() & 0xFF);
    return bytes;
}

/// An ID3 tag with the time of the frames behind it.
std::string timeTag(uint64_t time) {
    const std::string frame =
        std::string("com.apple.streaming.transportStreamTimestamp") + '\0' + test::be(time, 8);
    const std::string content = "PRIV" + test::be(frame.size()) + test::zeros(2) + frame;
    return "ID3" + std::string("\x04\x00\x00\x00\x00\x00", 6) + static_cast<char>(content.size()) +
           content;
}

TEST(SegmentFacts, TellsKindsByTheBegin) {
    EXPECT_EQ(kindOf(""), Kind::Empty);
    EXPECT_EQ(kindOf(test::goodProgram().text()), Kind::TransportStream);
    EXPECT_EQ(kindOf("x" + test::goodProgram().text()), Kind::TransportStream);
    EXPECT_EQ(kindOf(test::fragment()), Kind::Fragments);
    EXPECT_EQ(kindOf(test::textOf(test::adtsFrames(3))), Kind::PackedAudio);
    EXPECT_EQ(kindOf("\xEF\xBB\xBFWEBVTT\n\n"), Kind::Text);
    EXPECT_EQ(kindOf("<?xml version=\"1.0\"?><tt/>"), Kind::Text);
    EXPECT_EQ(kindOf("\r\n<!DOCTYPE HTML><html>"), Kind::Html);
    EXPECT_EQ(kindOf("<HTML><body>404"), Kind::Html);
    EXPECT_EQ(kindOf("anything"), Kind::Unknown);
}

TEST(SegmentFacts, SaysWhatCannotBeRead) {
    EXPECT_EQ(readSegmentFacts("", "").trouble, "it is empty");
    EXPECT_EQ(readSegmentFacts("", "<html>").trouble, "it is an HTML page");
    EXPECT_NE(readSegmentFacts("", "anything").trouble, "");
    EXPECT_EQ(readSegmentFacts("", "WEBVTT\n").trouble, "");
}

TEST(SegmentFacts, TellsEncryptedBytes) {
    EXPECT_TRUE(readSegmentFacts("", "\x01" + randomBytes(20000)).looksRandom);
    EXPECT_FALSE(readSegmentFacts("", "\x01" + randomBytes(1000)).looksRandom);
    EXPECT_FALSE(readSegmentFacts("", std::string(20000, 'a')).looksRandom);
}

TEST(SegmentFacts, ReadsPackedAudio) {
    const std::string frames = test::textOf(test::adtsFrames(94));
    const SegmentFacts plain = readSegmentFacts("", frames);
    ASSERT_EQ(plain.streams.size(), 1U);
    EXPECT_EQ(plain.streams[0].codec, "mp4a.40.2");
    EXPECT_EQ(plain.streams[0].frames, 94U);
    EXPECT_NEAR(plain.streams[0].seconds, 94 * 1024 / 48000.0, 1e-9);
    EXPECT_FALSE(plain.streams[0].start);
    const SegmentFacts timed = readSegmentFacts("", timeTag(900000) + frames);
    EXPECT_EQ(timed.kind, Kind::PackedAudio);
    EXPECT_EQ(timed.streams.at(0).start, 10.0);
    EXPECT_EQ(timed.streams.at(0).frames, 94U);
    EXPECT_EQ(kindOf(timeTag(0).substr(0, 20)), Kind::PackedAudio);
}

TEST(AdtsFrames, WalkOverPiecesAndStrayBytes) {
    const test::Bytes bytes = test::Bytes{1, 2, 3} + test::adtsFrames(5);
    for (size_t piece = 1; piece < 20; ++piece) {
        hastool::AdtsFrames frames;
        for (size_t at = 0; at < bytes.size(); at += piece)
            frames.push(bytes.data() + at, std::min(piece, bytes.size() - at));
        EXPECT_EQ(frames.frames(), 5U) << piece;
        EXPECT_EQ(frames.lost(), 3U) << piece;
        EXPECT_EQ(frames.samples(), 5U * 1024) << piece;
    }
}

} // namespace
