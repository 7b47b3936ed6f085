// How boxes are cut out of the stream, whatever is done with them.
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>
#include <support/CencStream.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace test::boxes;
using test::deliver;
using test::Emitted;
using test::ExactBytes;
using test::finish;
using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kLimit = 0x500000;

class Stream : public testing::Test {
protected:
    CCENCMediaContent content;

    Stream() { content.init(eDRM_TYPE_PLAYREADY, true); }

    /// What one chunk yields; the room is exactly what it may need.
    Bytes chunk(const Bytes& bytes) { return deliver(content, bytes, bytes.size(), 0).bytes; }
    int lastError() { return content.getLastErrorCode(); }
};

std::string invalidSize(long long size) {
    return test::highlighted("  [Error] Invalid boxSize: " + std::to_string(size));
}

TEST_F(Stream, LogsInit) {
    const LogCapture log;
    EXPECT_EQ(content.init(eDRM_TYPE_QDRM, false), 1);
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre(test::highlighted(" CCENCMediaContent init")));
    EXPECT_EQ(log.lines().front().priority, 16);
}

TEST_F(Stream, PassesOtherBoxesUnchangedOnceWhole) {
    const Bytes styp = box("styp", counting(16));
    const Bytes next = box("sidx", counting(20));
    EXPECT_THAT(chunk(Bytes(styp.begin(), styp.begin() + 20)), IsEmpty());
    EXPECT_EQ(content.getUndecryptedData(), 20U);
    EXPECT_EQ(chunk(Bytes(styp.begin() + 20, styp.end()) + next), styp + next);
    EXPECT_EQ(content.getUndecryptedData(), 0U);
}

TEST_F(Stream, ReturnsAndSetsTheBytesWritten) {
    const ExactBytes in(box("free", counting(5)) + box("free", counting(6)));
    const ExactBytes out(27);
    unsigned int written = 99;
    EXPECT_EQ(content.process(0, 0, in.data(), in.uintSize(), out.data(), written), 27);
    EXPECT_EQ(written, 27U);
    EXPECT_EQ(content.process(0, 0, in.data(), 5, out.data(), written), 0);
    EXPECT_EQ(written, 0U);
}

TEST_F(Stream, NeverWritesToItsInput) {
    const Bytes segment = box("moov", pssh(counting(16), counting(8))) +
                          box("moof", box("traf", tfhd(1) + sizedRun(100, {1, 2})));
    const ExactBytes in(segment);
    const ExactBytes out(1000);
    unsigned int written = 0;
    EXPECT_GT(content.process(0, 0, in.data(), in.uintSize(), out.data(), written), 0);
    EXPECT_NE(Bytes(out.data(), out.data() + written), segment);
    EXPECT_EQ(in.copy(), segment);
}

TEST_F(Stream, LooksAtABoxOnceAByteBehindItsHeaderIsThere) {
    const Bytes empty = box("free");
    EXPECT_THAT(chunk(empty), IsEmpty());
    EXPECT_EQ(content.getUndecryptedData(), 8U);
    EXPECT_EQ(chunk({0}), empty);
    EXPECT_EQ(content.getUndecryptedData(), 1U);
}

TEST_F(Stream, EmitsABareHeaderWhenNothingFollows) {
    const Bytes empty = box("free");
    chunk(empty);
    const ExactBytes out(8);
    unsigned int written = 0;
    EXPECT_EQ(content.process(0, 0, nullptr, 0, out.data(), written), 8);
    EXPECT_EQ(out.copy(), empty);
}

TEST_F(Stream, PassesMediaDataAsItComes) {
    const Bytes mdat = box("mdat", counting(100));
    EXPECT_THAT(chunk(Bytes(mdat.begin(), mdat.begin() + 8)), IsEmpty());
    EXPECT_EQ(chunk({mdat[8]}), Bytes(mdat.begin(), mdat.begin() + 9));
    EXPECT_EQ(content.getUndecryptedData(), 0U);
    EXPECT_EQ(chunk(Bytes(mdat.begin() + 9, mdat.begin() + 50)),
              Bytes(mdat.begin() + 9, mdat.begin() + 50));
    EXPECT_EQ(chunk(Bytes(mdat.begin() + 50, mdat.end())), Bytes(mdat.begin() + 50, mdat.end()));
}

TEST_F(Stream, GoesOnBehindMediaDataInTheSameChunk) {
    const Bytes segment = box("mdat", counting(10)) + box("free", counting(4)) +
                          box("mdat", counting(1)) + box("mdat") + box("free", counting(1));
    EXPECT_EQ(chunk(segment), segment);
}

TEST_F(Stream, PassesMediaDataOfA64BitSize) {
    const Bytes mdat = longBox("mdat", counting(40));
    const Bytes segment = mdat + box("free", counting(3));
    EXPECT_THAT(chunk(Bytes(segment.begin(), segment.begin() + 15)), IsEmpty());
    EXPECT_EQ(content.getUndecryptedData(), 15U);
    EXPECT_EQ(chunk(Bytes(segment.begin() + 15, segment.end())), segment);
}

TEST_F(Stream, ReadsA64BitSizeThatComesByteByByte) {
    const Bytes mdat = longBox("mdat", counting(4));
    EXPECT_EQ(deliver(content, mdat, 1, 0).bytes, mdat);
}

TEST_F(Stream, PassesMediaDataBeyond4GiB) {
    Bytes mdat = u32(1) + text("mdat") + u64(0x500000000ULL);
    EXPECT_EQ(chunk(mdat), mdat);
    const Bytes more = box("moov", counting(100)); // only looks like one
    EXPECT_EQ(chunk(more), more);
    EXPECT_EQ(lastError(), 0);
}

TEST_F(Stream, PassesMediaDataOfSizeZeroToTheEnd) {
    const Bytes mdat = sizedBox(0, "mdat", counting(30));
    EXPECT_EQ(chunk(mdat), mdat);
    const Bytes more = box("free", counting(30)) + sizedBox(3, "xxxx", zeros(20));
    EXPECT_EQ(chunk(more), more);
    EXPECT_THAT(finish(content), IsEmpty());
    const Bytes next = box("free", counting(30));
    EXPECT_EQ(chunk(next), next);
}

TEST_F(Stream, RefusesSizesThatCannotBeValid) {
    for (const unsigned int size : {0U, 1U, 7U, kLimit, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        for (const char* type : {"free", "moov", "moof", "uuid"}) {
            const LogCapture log;
            content.init(eDRM_TYPE_PLAYREADY, true);
            const Emitted emitted = deliver(content, sizedBox(size, type, zeros(20)), 28, 0);
            EXPECT_FALSE(emitted.isWhole) << type << size;
            EXPECT_THAT(emitted.bytes, IsEmpty());
            EXPECT_TRUE(log.contains(invalidSize(static_cast<int>(size)))) << type << size;
            EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BOX_SIZE);
        }
    }
}

TEST_F(Stream, RefusesMediaSizesBelowTheirHeader) {
    for (const unsigned int size : {2U, 7U}) {
        const LogCapture log;
        EXPECT_FALSE(deliver(content, sizedBox(size, "mdat", zeros(20)), 28, 0).isWhole);
        EXPECT_TRUE(log.contains(invalidSize(size)));
    }
    for (const unsigned int size : {0U, 8U, 15U}) {
        const LogCapture log;
        const Bytes mdat = u32(1) + text("mdat") + u64(size) + zeros(10);
        EXPECT_FALSE(deliver(content, mdat, mdat.size(), 0).isWhole);
        EXPECT_TRUE(log.contains(invalidSize(size)));
    }
}

TEST_F(Stream, WaitsForTheLargestBoxThatIsAllowed) {
    const Bytes big = box("free", zeros(kLimit - 1 - 8));
    ASSERT_EQ(big.size(), kLimit - 1);
    EXPECT_THAT(chunk(Bytes(big.begin(), big.end() - 1)), IsEmpty());
    EXPECT_EQ(chunk({0}), big);
}

TEST_F(Stream, EmitsWhatStandsBeforeABadBox) {
    const Bytes good = box("styp", counting(10));
    const Emitted emitted = deliver(content, good + sizedBox(4, "free", zeros(9)), 100, 0);
    EXPECT_FALSE(emitted.isWhole);
    EXPECT_EQ(emitted.bytes, good);
}

TEST_F(Stream, StartsCleanAfterABadBox) {
    deliver(content, sizedBox(4, "free", zeros(9)), 100, 0);
    EXPECT_EQ(content.getUndecryptedData(), 0U);
    const Bytes good = box("styp", counting(10));
    EXPECT_EQ(chunk(good), good);
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BOX_SIZE) << "kept until init()";
    content.init(eDRM_TYPE_PLAYREADY, true);
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_NONE);
}

TEST_F(Stream, RefusesPiecesOfMoovAndMoofThatLieAboutTheirSize) {
    const Bytes beyond = sizedBox(30, "trak", zeros(4));
    const Bytes tiny = sizedBox(7, "trak", zeros(4));
    const Bytes cut = zeros(5);
    for (const char* type : {"moov", "moof"}) {
        for (const Bytes& child : {beyond, tiny, cut}) {
            content.init(eDRM_TYPE_PLAYREADY, true);
            const Bytes good = box("free", counting(9));
            const Emitted emitted = deliver(content, good + box(type, child) + zeros(40), 1000, 0);
            EXPECT_FALSE(emitted.isWhole);
            EXPECT_EQ(emitted.bytes, good) << "nothing of the bad box";
            EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BOX_CONTENT);
            EXPECT_EQ(chunk(good), good);
        }
    }
}

TEST_F(Stream, RefusesNullsWhereBytesAreAnnounced) {
    const ExactBytes in(box("free", counting(4)));
    const ExactBytes out(12);
    unsigned int written = 9;
    EXPECT_EQ(content.process(0, 0, nullptr, 12, out.data(), written), -1);
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(content.process(0, 0, in.data(), 12, nullptr, written), -1);
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_ARGUMENT);
    EXPECT_EQ(content.process(0, 0, nullptr, 0, nullptr, written), 0) << "nothing to write";
    EXPECT_EQ(content.process(0, 0, in.data(), 12, out.data(), written), 12);
}

TEST_F(Stream, GrowsToTheChunkAndOneByte) {
    const LogCapture log;
    chunk(box("free", zeros(92)));
    chunk(box("free", zeros(92)));
    chunk(box("free", zeros(93)));
    chunk(box("free", zeros(10)));
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre(" [*] resizeBuffer( 101 )", " [*] resizeBuffer( 102 )"));
    EXPECT_EQ(log.lines().front().priority, 4);
}

TEST_F(Stream, CountsWhatWaitsWhenItGrows) {
    const LogCapture log;
    const Bytes free = box("free", zeros(92));
    chunk(Bytes(free.begin(), free.begin() + 60));
    chunk(Bytes(free.begin() + 60, free.end()));
    EXPECT_THAT(log.messages(), ElementsAre(" [*] resizeBuffer( 61 )", " [*] resizeBuffer( 101 )"));
}

TEST_F(Stream, RefusesAChunkBeyondTheLimit) {
    const Bytes part = Bytes(sizedBox(1000, "free", zeros(92)));
    chunk(part);
    const LogCapture log;
    const ExactBytes in(kLimit - 99);
    const ExactBytes out(kLimit + 1);
    unsigned int written = 9;
    EXPECT_EQ(content.process(0, 0, in.data(), in.uintSize(), out.data(), written), -1);
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BUFFER_LIMIT);
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre(" [*] m_nRemainSize : 100", " [*] nDataSize : 5242781",
                            " [*] resizeBuffer( 5242882 )"));
    EXPECT_EQ(content.getUndecryptedData(), 100U) << "nothing was appended, nothing lost";
    EXPECT_EQ(chunk(zeros(900)), part + zeros(900));
}

TEST_F(Stream, TakesAChunkOfExactlyTheLimit) {
    const LogCapture log;
    const Bytes mdat = box("mdat", zeros(kLimit - 8));
    EXPECT_EQ(chunk(mdat), mdat);
    EXPECT_THAT(log.messages(), ElementsAre(" [*] resizeBuffer( 5242881 )"));
}

TEST_F(Stream, SurvivesTheLargestLength) {
    const ExactBytes in(1);
    const ExactBytes out(1);
    unsigned int written = 0;
    EXPECT_EQ(content.process(0, 0, in.data(), 0xFFFFFFFFU, out.data(), written), -1);
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BUFFER_LIMIT);
}

TEST_F(Stream, FinalEmitsABareHeaderAndDropsACutBox) {
    const Bytes empty = box("free");
    chunk(empty);
    EXPECT_EQ(finish(content), empty);
    chunk(sizedBox(100, "free", zeros(50)));
    EXPECT_THAT(finish(content), IsEmpty());
    EXPECT_EQ(content.getUndecryptedData(), 0U);
    EXPECT_EQ(lastError(), 0);
}

TEST_F(Stream, FinalLogsWhatItDid) {
    chunk(box("free"));
    LogCapture log;
    finish(content);
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre("[OnFinal]----------------------- m_nRemainSize: 8",
                            "[OnFinal]----------------------- finalSize: 8, m_nRemainSize: 0, "
                            "nOutSize: 8"));
    log.clear();
    finish(content);
    EXPECT_THAT(log.messages(), ElementsAre("[OnFinal]----------------------- m_nRemainSize: 0"));
    log.clear();
    chunk({0, 0, 0});
    finish(content);
    EXPECT_THAT(log.messages(), ElementsAre("[OnFinal]----------------------- m_nRemainSize: 3",
                                            "[OnFinal]Decrypted: 0"));
}

TEST_F(Stream, FinalAlwaysReturnsOneAndSetsTheLength) {
    chunk(sizedBox(4, "free"));
    const LogCapture log;
    const ExactBytes out(8);
    unsigned int written = 99;
    EXPECT_EQ(content.final(0, 0, out.data(), written), 1);
    EXPECT_EQ(written, 0U);
    EXPECT_TRUE(log.contains("[OnFinal]Decrypted: -1"));
    EXPECT_EQ(lastError(), CCENCMediaContent::ERROR_BOX_SIZE);
    written = 99;
    EXPECT_EQ(content.final(0, 0, nullptr, written), 1);
    EXPECT_EQ(written, 0U);
}

TEST_F(Stream, FinalWithoutRoomEnds) {
    chunk(box("free"));
    unsigned int written = 99;
    EXPECT_EQ(content.final(0, 0, nullptr, written), 1);
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(content.getUndecryptedData(), 0U);
}

TEST_F(Stream, StartsCleanAfterFinal) {
    chunk(u32(1000) + text("mdat") + zeros(10));
    finish(content);
    const Bytes next = box("styp", counting(10));
    EXPECT_EQ(chunk(next), next);
}

TEST_F(Stream, StartSegmentDropsWhatIsLeftAtTheNextChunk) {
    const Bytes next = box("styp", counting(10));
    for (const Bytes& left : {u32(1000) + text("mdat") + zeros(10), sizedBox(100, "free")}) {
        chunk(left);
        content.startSegment();
        EXPECT_EQ(chunk(next), next);
        EXPECT_EQ(chunk(next), next) << "the flag counts once";
    }
}

TEST_F(Stream, FinalRightAfterStartSegmentDropsWhatIsLeft) {
    chunk(box("free"));
    content.startSegment();
    EXPECT_THAT(finish(content), IsEmpty());
}

TEST_F(Stream, ResetBufferDropsAtOnce) {
    chunk(sizedBox(100, "free", zeros(20)));
    content.resetBuffer();
    EXPECT_EQ(content.getUndecryptedData(), 0U);
    const Bytes next = box("styp", counting(10));
    EXPECT_EQ(chunk(next), next);
}

TEST_F(Stream, InitDropsWhatIsLeftAndWhatStartSegmentSaid) {
    chunk(u32(1000) + text("mdat") + zeros(10));
    content.startSegment();
    content.init(eDRM_TYPE_PLAYREADY, true);
    const Bytes next = box("styp", counting(10));
    EXPECT_EQ(chunk(Bytes(next.begin(), next.begin() + 9)), Bytes());
    EXPECT_EQ(chunk(Bytes(next.begin() + 9, next.end())), next);
}

TEST_F(Stream, AnyPiecesGiveTheWhole) {
    const Bytes segment = box("styp", counting(16)) + box("moov", pssh(counting(16), counting(9))) +
                          box("moof", box("traf", tfhd(1) + sizedRun(90, {5, 6}))) +
                          box("mdat", counting(200)) + box("free") + longBox("mdat", counting(30)) +
                          box("free");
    const Bytes whole = test::rewrite(content, segment, segment.size()).bytes;
    EXPECT_GT(whole.size(), segment.size());
    for (size_t piece = 1; piece < 60; ++piece) {
        const Emitted emitted = test::rewrite(content, segment, piece);
        EXPECT_TRUE(emitted.isWhole);
        EXPECT_EQ(emitted.bytes, whole) << "in pieces of " << piece;
    }
}

} // namespace
