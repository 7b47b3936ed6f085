#include <hastool/media/SegmentFacts.h>
#include <support/ExactBytes.h>
#include <tools/hastool/ProgramBuilder.h>

#include <gtest/gtest.h>

using hastool::SegmentFacts;
using hastool::StreamFacts;
using test::operator+;
using test::ProgramBuilder;

namespace {

SegmentFacts read(const std::string& media) {
    return hastool::readSegmentFacts("", media);
}
SegmentFacts read(const ProgramBuilder& program) {
    return read(program.text());
}

const StreamFacts& video(const SegmentFacts& facts) {
    const StreamFacts* const stream = facts.stream(StreamFacts::Kind::Video);
    if (stream == nullptr)
        throw std::runtime_error("no video");
    return *stream;
}
const StreamFacts& audio(const SegmentFacts& facts) {
    const StreamFacts* const stream = facts.stream(StreamFacts::Kind::Audio);
    if (stream == nullptr)
        throw std::runtime_error("no audio");
    return *stream;
}

TEST(TransportReader, TellsTheStreamsOfAGoodSegment) {
    const SegmentFacts facts = read(test::goodProgram());
    EXPECT_EQ(facts.kind, SegmentFacts::Kind::TransportStream);
    EXPECT_EQ(facts.trouble, "");
    ASSERT_EQ(facts.streams.size(), 2U);
    EXPECT_EQ(video(facts).id, 0x100U);
    EXPECT_EQ(video(facts).codec, "avc1.42e015");
    EXPECT_EQ(video(facts).width, 176);
    EXPECT_EQ(video(facts).height, 144);
    EXPECT_DOUBLE_EQ(*video(facts).start, 1);
    EXPECT_DOUBLE_EQ(*video(facts).decodeStart, 1);
    EXPECT_NEAR(video(facts).seconds, 2, 1e-9);
    EXPECT_EQ(video(facts).frames, 10U);
    EXPECT_EQ(video(facts).beginsWithKey, true);
    EXPECT_EQ(video(facts).keyFrames, 1U);
    EXPECT_EQ(audio(facts).codec, "mp4a.40.2");
    EXPECT_EQ(audio(facts).sampleRate, 48000);
    EXPECT_EQ(audio(facts).channels, 2);
    EXPECT_EQ(audio(facts).frames, 94U);
    EXPECT_NEAR(audio(facts).seconds, 94 * 1024 / 48000.0, 1e-9);
    EXPECT_EQ(facts.leading(), &video(facts));
}

TEST(TransportReader, TellsTheTablesClocksAndCountersOfAGoodSegment) {
    const auto facts = read(test::goodProgram()).transport;
    EXPECT_EQ(facts.packets, 22U);
    EXPECT_TRUE(facts.hasPat);
    EXPECT_TRUE(facts.hasPmt);
    EXPECT_EQ(facts.programs, 1U);
    EXPECT_FALSE(facts.isMediaBeforeTables);
    EXPECT_FALSE(facts.hasTableChange);
    EXPECT_EQ(facts.clock.pid, 0x100);
    EXPECT_EQ(facts.clock.count, 10U);
    EXPECT_DOUBLE_EQ(facts.clock.first, 0.9);
    EXPECT_NEAR(facts.clock.last, 2.7, 1e-9);
    EXPECT_NEAR(facts.clock.longest, 0.2, 1e-9);
    EXPECT_EQ(facts.pids.at(0x100).type, 0x1BU);
    EXPECT_EQ(facts.pids.at(0x100).firstCounter, 0);
    EXPECT_EQ(facts.pids.at(0x100).lastCounter, 9);
    EXPECT_EQ(facts.pids.at(0x100).continuityErrors, 0U);
    EXPECT_FALSE(facts.isScrambled());
}

TEST(TransportReader, CountsMissingPackets) {
    ProgramBuilder program = test::goodProgram();
    program.lose(0x100, 3).video(270000, 270000, test::plainSlice());
    EXPECT_EQ(read(program).transport.pids.at(0x100).continuityErrors, 1U);
}

TEST(TransportReader, SeesThatTablesAreMissing) {
    EXPECT_FALSE(read(ProgramBuilder().pmt().video(0, 0, test::keyPicture())).transport.hasPat);
    ProgramBuilder bare;
    bare.video(0, 0, test::keyPicture()).audio(0, 9);
    EXPECT_FALSE(read(bare).transport.hasPmt);
    EXPECT_EQ(read(bare).kind, SegmentFacts::Kind::TransportStream);
}

TEST(TransportReader, SeesMediaBeforeTheTables) {
    ProgramBuilder program;
    program.video(0, 0, test::keyPicture()).tables().video(18000, 18000, test::plainSlice());
    EXPECT_TRUE(read(program).transport.isMediaBeforeTables);
}

TEST(TransportReader, SeesTablesThatChange) {
    ProgramBuilder program = test::goodProgram();
    EXPECT_FALSE(read(program.pmt()).transport.hasTableChange);
    EXPECT_TRUE(read(program.pmt(0x24)).transport.hasTableChange);
}

TEST(TransportReader, FollowsTimesOverTheEndOfTheClock) {
    constexpr int64_t kPeriod = int64_t{1} << 33;
    ProgramBuilder program;
    program.tables();
    for (int i = 0; i < 10; ++i) {
        const int64_t time = (kPeriod - 90000 + i * 18000) % kPeriod;
        program.video(time, time, i == 0 ? test::keyPicture() : test::plainSlice(), time);
    }
    const SegmentFacts facts = read(program);
    EXPECT_NEAR(video(facts).seconds, 2, 1e-9);
    EXPECT_NEAR(*video(facts).start, hastool::kTransportClockPeriod - 1, 1e-6);
    EXPECT_EQ(facts.transport.pids.at(0x100).decodeDisorders, 0U);
    EXPECT_EQ(facts.transport.clock.backwards, 0U);
    EXPECT_NEAR(facts.transport.clock.longest, 0.2, 1e-9);
}

TEST(TransportReader, ReadsPicturesThatAreShownInAnotherOrder) {
    ProgramBuilder program;
    program.tables().video(54000, 0, test::keyPicture());
    program.video(108000, 18000, test::plainSlice()).video(72000, 36000, test::plainSlice());
    program.video(90000, 54000, test::plainSlice());
    const SegmentFacts facts = read(program);
    EXPECT_DOUBLE_EQ(*video(facts).start, 0.6);
    EXPECT_DOUBLE_EQ(*video(facts).decodeStart, 0);
    EXPECT_NEAR(video(facts).seconds, 0.8, 1e-9);
    EXPECT_EQ(facts.transport.pids.at(0x100).decodeDisorders, 0U);
    EXPECT_EQ(facts.transport.pids.at(0x100).presentedBeforeDecode, 0U);
}

TEST(TransportReader, CountsTimesOutOfOrder) {
    ProgramBuilder program;
    program.tables().video(90000, 90000, test::keyPicture());
    program.video(72000, 72000, test::plainSlice()).video(99000, 108000, test::plainSlice());
    const auto facts = read(program).transport.pids.at(0x100);
    EXPECT_EQ(facts.decodeDisorders, 1U);
    EXPECT_EQ(facts.presentedBeforeDecode, 1U);
}

TEST(TransportReader, CountsClockReferencesThatGoBack) {
    ProgramBuilder program;
    program.tables().video(90000, 90000, test::keyPicture(), 90000);
    program.video(108000, 108000, test::plainSlice(), 45000);
    EXPECT_EQ(read(program).transport.clock.backwards, 1U);
}

TEST(TransportReader, TellsKeyPicturesByTheirUnits) {
    const auto begins = [](const test::Bytes& picture) {
        return video(read(ProgramBuilder().tables().video(0, 0, picture))).beginsWithKey;
    };
    const test::Bytes recovery = {0, 0, 1, 6, 6, 1, 0x84, 0x80};
    const test::Bytes message = {0, 0, 1, 6, 5, 1, 0x84, 0x80};
    EXPECT_EQ(begins(test::keySlice()), true);
    EXPECT_EQ(begins(test::plainSlice()), false);
    EXPECT_EQ(begins(recovery + test::plainSlice()), true);
    EXPECT_EQ(begins(message + test::plainSlice()), false);
    EXPECT_EQ(begins({0, 0, 1, 9, 0xF0}), std::nullopt);
}

TEST(TransportReader, FindsPacketsAmongOtherBytes) {
    const SegmentFacts facts = read(test::goodProgram().text() + "stray");
    EXPECT_EQ(facts.transport.packets, 22U);
    EXPECT_EQ(facts.transport.strayBytes, 5U);
    EXPECT_EQ(video(facts).frames, 10U);
}

TEST(TransportReader, CountsDamagedAndScrambledPackets) {
    std::string damaged = test::goodProgram().text();
    damaged[2 * 188 + 1] = static_cast<char>(damaged[2 * 188 + 1] | 0x80);
    EXPECT_EQ(read(damaged).transport.damaged, 1U);
    std::string scrambled = test::goodProgram().text();
    scrambled[2 * 188 + 3] = static_cast<char>(scrambled[2 * 188 + 3] | 0x80);
    EXPECT_TRUE(read(scrambled).transport.isScrambled());
}

TEST(TransportReader, EndsOnCutBytes) {
    const std::string whole = test::goodProgram().text();
    for (size_t size = 0; size < whole.size(); size += 61) {
        const test::ExactBytes bytes(whole.substr(0, size));
        const auto* const at = reinterpret_cast<const char*>(bytes.data());
        EXPECT_LE(hastool::readSegmentFacts("", {at, bytes.size()}).transport.packets,
                  size / 188 + 1);
    }
}

} // namespace
