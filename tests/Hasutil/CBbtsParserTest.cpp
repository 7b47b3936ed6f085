#include <Hasutil/CBbtsParser.h>
#include <support/ExactBytes.h>
#include <support/LogCapture.h>
#include <support/TsPacket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace {

using test::ByteList;
using test::bytes;
using test::cat;
using test::ExactBytes;
using test::pat;
using test::pmt;
using test::pointed;
using test::program;
using test::tsPacket;
using test::operator+;
using testing::ElementsAre;

constexpr int kPmtPid = 0x100;
constexpr int kEcmPid = 0x1AB;

/// A parser that gives back what it holds.
class Parser : public CBbtsParser {
public:
    ~Parser() { Final(); }

    TS_HEADER header{99, 99, 99, 99, 99};

    int parse(const ExactBytes& packet) {
        return TsParser(packet.data(), packet.uintSize(), header);
    }
    /// The packet's kind.
    unsigned int kind(const ExactBytes& packet) {
        EXPECT_EQ(parse(packet), 1);
        return header.packet_kind;
    }
    ByteList privateData() const {
        return {m_caPrivateData, m_caPrivateData + m_caPrivateDataSize};
    }
    /// Tells it the PMT's PID.
    Parser& withPmt(int pid = kPmtPid) {
        EXPECT_EQ(kind(tsPacket(0, pointed(pat(program(1, pid))))), 1U);
        return *this;
    }
};

/// A CA descriptor.
ByteList ca(int length, int pid, const ByteList& rest = {}) {
    return bytes({9, length, 0x4A, 0xD4, 0xE0 | pid >> 8, pid & 0xFF}) + rest;
}

/// One with private data as the parser looks for it: a 1, its length and the data.
ByteList caWithData(int pid, const ByteList& data) {
    const int size = static_cast<int>(data.size());
    return ca(6 + size, pid, bytes({1, size}) + data);
}

TEST(BbtsParser, StartsWithNothing) {
    Parser parser;
    unsigned char out[188] = {7};
    EXPECT_FALSE(parser.IsPmtReady());
    EXPECT_FALSE(parser.IsEcmReady());
    EXPECT_FALSE(parser.GetPmtData(out));
    EXPECT_FALSE(parser.GetEcmData(out));
    EXPECT_EQ(out[0], 7);
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_caPrivateDataSize, 0U);
    EXPECT_EQ(parser.m_pmtPid, 0U);
    EXPECT_EQ(parser.m_ecmPid, 0U);
    EXPECT_EQ(parser.Init(), 0);
    EXPECT_EQ(parser.Final(), 0);
}

TEST(BbtsParser, NoBytesAnswerZeroAndLeaveTheHeader) {
    test::LogCapture log;
    Parser parser;
    unsigned char byte = 0;
    EXPECT_EQ(parser.TsParser(&byte, 0, parser.header), 0);
    EXPECT_EQ(parser.TsParser(nullptr, 188, parser.header), 0);
    EXPECT_EQ(parser.header.packet_kind, 99U);
    EXPECT_TRUE(log.lines().empty());
}

TEST(BbtsParser, ABadSyncByteIsLoggedHighlighted) {
    test::LogCapture log;
    Parser parser;
    EXPECT_EQ(parser.parse(ExactBytes(188, 0x00)), 0);
    EXPECT_EQ(parser.header.packet_kind, 5U);
    EXPECT_EQ(parser.header.PID, 99U);
    ASSERT_EQ(log.lines().size(), 1U);
    const test::LogLine line = log.lines().front();
    EXPECT_EQ(line.message, test::highlighted(" [* ERROR] SYNC_BYTE error! "));
    EXPECT_EQ(line.priority, 16);
    EXPECT_EQ(line.file, "CBbtsParser.cpp");
    EXPECT_EQ(line.function, "TsParser");
}

TEST(BbtsParser, HeaderFields) {
    Parser parser;
    EXPECT_EQ(parser.kind(tsPacket(0x1ABC, bytes({7}), 0xF5)), 5U);
    EXPECT_EQ(parser.header.PID, 0x1ABCU);
    EXPECT_EQ(parser.header.transport_scrambling_control, 3);
    EXPECT_EQ(parser.header.adaptation_field_control, 3);
    EXPECT_EQ(parser.header.adaptation_field_length, 7U);
    parser.parse(tsPacket(0x1ABC, bytes({7}), 0x95));
    EXPECT_EQ(parser.header.transport_scrambling_control, 2);
    EXPECT_EQ(parser.header.adaptation_field_control, 1);
    EXPECT_EQ(parser.header.adaptation_field_length, 0U);
    parser.parse(tsPacket(0x1ABC, bytes({255}), 0x2F));
    EXPECT_EQ(parser.header.adaptation_field_control, 2);
    EXPECT_EQ(parser.header.adaptation_field_length, 255U);
}

TEST(BbtsParser, APacketCutInItsHeaderIsAnythingElse) {
    for (size_t size = 1; size < 4; ++size) {
        const ExactBytes packet(size, 0x47);
        Parser parser;
        EXPECT_EQ(parser.kind(packet), 5U);
        EXPECT_EQ(parser.header.PID, 0U);
        EXPECT_EQ(parser.header.adaptation_field_length, 0U);
        EXPECT_EQ(parser.header.transport_scrambling_control, 0);
        EXPECT_EQ(parser.header.adaptation_field_control, 0);
    }
}

TEST(BbtsParser, PatNamesThePmtButNotTheNetwork) {
    Parser parser;
    EXPECT_EQ(parser.kind(tsPacket(0, pointed(pat(program(0, 0x10) + program(1, 0x123))))), 1U);
    EXPECT_EQ(parser.m_pmtPid, 0x123U);
    EXPECT_EQ(parser.kind(tsPacket(0, pointed(pat(program(1, 0x124) + program(0, 0x10))))), 1U);
    EXPECT_EQ(parser.m_pmtPid, 0x124U);
}

TEST(BbtsParser, TheLastProgramOfThePatWins) {
    Parser parser;
    parser.parse(tsPacket(0, pointed(pat(program(1, 0x123) + program(2, 0x1FFE)))));
    EXPECT_EQ(parser.m_pmtPid, 0x1FFEU);
    parser.parse(tsPacket(0, pointed(pat(program(0x100, 0x77))))); // only the high byte set
    EXPECT_EQ(parser.m_pmtPid, 0x77U);
}

TEST(BbtsParser, APatWithoutProgramsChangesNothing) {
    Parser parser;
    parser.withPmt(0x123);
    EXPECT_EQ(parser.kind(tsPacket(0, pointed(pat({})))), 1U);
    EXPECT_EQ(parser.m_pmtPid, 0x123U);
}

TEST(BbtsParser, ASectionShorterThanItsHeadHasNoEntries) {
    for (int length = 0; length < 9; ++length) {
        Parser parser;
        parser.parse(
            tsPacket(0, pointed(bytes({0, 0xB0, length, 0, 1, 0xC1, 0, 0, 0, 1, 0xE1, 0x23}))));
        EXPECT_EQ(parser.m_pmtPid, 0U) << length;
    }
}

TEST(BbtsParser, ProgramsEndWhereTheSectionSays) {
    Parser parser;
    ByteList table = pat(program(1, 0x123) + program(2, 0x124));
    table[2] = 9 + 4; // one program; the other is behind the section
    parser.parse(tsPacket(0, pointed(table)));
    EXPECT_EQ(parser.m_pmtPid, 0x123U);
    table[2] = 9 + 5; // a program that is begun counts
    parser.parse(tsPacket(0, pointed(table)));
    EXPECT_EQ(parser.m_pmtPid, 0x124U);
}

TEST(BbtsParser, ProgramsEndWithThePacket) {
    ByteList programs;
    for (int i = 1; i <= 300; ++i)
        programs = programs + program(i, i);
    Parser parser;
    parser.parse(tsPacket(0, pointed(pat(programs))));
    // 188 - 4 - 1 - 8 bytes hold 43 programs and three bytes.
    EXPECT_EQ(parser.m_pmtPid, 43U);
}

TEST(BbtsParser, BytesAboveAPacketAreNotLookedAt) {
    ByteList programs;
    for (int i = 1; i <= 60; ++i)
        programs = programs + program(i, i);
    const ByteList long_ = bytes({0x47, 0x40, 0x00, 0x10, 0x00}) + pat(programs);
    Parser parser;
    EXPECT_EQ(parser.parse(ExactBytes(long_)), 1);
    EXPECT_EQ(parser.m_pmtPid, 43U);
}

TEST(BbtsParser, ANonZeroPointerStartsTheSectionOneByteEarly) {
    Parser parser;
    parser.parse(tsPacket(0, bytes({3, 0xAA, 0xBB}) + pat(program(1, 0x123))));
    EXPECT_EQ(parser.m_pmtPid, 0x123U);
}

TEST(BbtsParser, TheSectionFollowsTheAdaptationFieldsLength) {
    // A field of 6 bytes counted as 6 + 4, so its last byte is taken for the pointer field.
    const ByteList field = bytes({6, 0x50, 1, 2, 3, 4});
    Parser zero;
    zero.parse(tsPacket(0, field + bytes({0}) + pat(program(1, 0x123)), 0x30));
    EXPECT_EQ(zero.header.adaptation_field_length, 6U);
    EXPECT_EQ(zero.m_pmtPid, 0x123U);
    Parser nonZero;
    nonZero.parse(tsPacket(0, field + bytes({2, 0xAA}) + pat(program(1, 0x124)), 0x30));
    EXPECT_EQ(nonZero.m_pmtPid, 0x124U);
}

TEST(BbtsParser, AdaptationAndPointerBeyondThePacketFindNoSection) {
    for (const int byte3 : {0x20, 0x30}) {
        for (int length = 0; length < 256; ++length) {
            Parser parser;
            EXPECT_EQ(parser.kind(tsPacket(0, bytes({length}), byte3)), 1U);
        }
    }
    for (int pointer = 1; pointer < 256; ++pointer) {
        Parser parser;
        EXPECT_EQ(parser.kind(tsPacket(0, bytes({pointer}))), 1U);
    }
}

TEST(BbtsParser, CatNamesTheEcmPid) {
    Parser parser;
    EXPECT_EQ(parser.kind(tsPacket(1, pointed(cat(ca(4, kEcmPid))))), 2U);
    EXPECT_EQ(parser.m_ecmPid, static_cast<unsigned int>(kEcmPid));
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
}

TEST(BbtsParser, AnEmptyCatChangesNothing) {
    Parser parser;
    EXPECT_EQ(parser.kind(tsPacket(1, pointed(cat({})))), 2U);
    EXPECT_EQ(parser.m_ecmPid, 0U);
}

TEST(BbtsParser, CatTakesADescriptorsLengthFromItsThirdByte) {
    // Another descriptor moves by its third byte, here over the CA descriptor that its second would
    // lead to.
    const ByteList other = bytes({0x84, 2, 10, 0xAA});
    const ByteList skipped = ca(4, 0x111);
    Parser parser;
    parser.parse(tsPacket(1, pointed(cat(other + skipped + ca(4, 0x122)))));
    EXPECT_EQ(parser.m_ecmPid, 0x122U);
}

TEST(BbtsParser, CatStepsOverACaDescriptorByItsThirdByteToo) {
    ByteList first = ca(4, 0x111);
    first[2] = 8; // 2 + 8
    Parser parser;
    parser.parse(tsPacket(1, pointed(cat(first + bytes({0, 0, 0, 0}) + ca(4, 0x122)))));
    EXPECT_EQ(parser.m_ecmPid, 0x122U);
}

TEST(BbtsParser, CatCarriesPrivateDataUnlessItsThirdByteIsFour) {
    const ByteList descriptor = bytes({9, 9, 7, 0, 0xE1, 0x11, 1, 3, 0xAA, 0xBB, 0xCC});
    Parser parser;
    parser.parse(tsPacket(1, pointed(cat(descriptor + ca(4, 0x122)))));
    EXPECT_THAT(parser.privateData(), ElementsAre(0xAA, 0xBB, 0xCC));
    EXPECT_EQ(parser.m_ecmPid, 0x122U); // found 8 + 3 bytes on
    ByteList four = descriptor;
    four[2] = 4;
    Parser none;
    none.parse(tsPacket(1, pointed(cat(four))));
    EXPECT_EQ(none.m_caPrivateData, nullptr);
    EXPECT_EQ(none.m_ecmPid, 0x111U);
}

TEST(BbtsParser, CatEndsWhereADescriptorWouldNotMoveOn) {
    Parser parser;
    parser.parse(tsPacket(1, pointed(cat(bytes({0x84, 2, 0, 0}) + ca(4, 0x122)))));
    EXPECT_EQ(parser.m_ecmPid, 0U);
}

TEST(BbtsParser, PmtIsKeptOnlyOnItsPid) {
    const ExactBytes packet = tsPacket(kPmtPid, pointed(pmt({})));
    Parser parser;
    EXPECT_EQ(parser.kind(packet), 5U);
    parser.withPmt();
    EXPECT_FALSE(parser.IsPmtReady()); // the PAT alone is not enough
    EXPECT_EQ(parser.kind(packet), 3U);
    EXPECT_TRUE(parser.IsPmtReady());
    const ExactBytes out(188);
    EXPECT_TRUE(parser.GetPmtData(out.data()));
    EXPECT_EQ(out.copy(), packet.copy());
}

TEST(BbtsParser, TheLatestPmtIsKept) {
    Parser parser;
    parser.withPmt();
    parser.parse(tsPacket(kPmtPid, pointed(pmt({}))));
    const ExactBytes later = tsPacket(kPmtPid, pointed(pmt(ca(4, kEcmPid))));
    parser.parse(later);
    const ExactBytes out(188);
    EXPECT_TRUE(parser.GetPmtData(out.data()));
    EXPECT_EQ(out.copy(), later.copy());
}

TEST(BbtsParser, ACutPmtIsFilledUpWithZeros) {
    Parser parser;
    parser.withPmt();
    parser.parse(tsPacket(kPmtPid, pointed(pmt({}))));
    const ExactBytes whole = tsPacket(kPmtPid, {});
    EXPECT_EQ(parser.kind(ExactBytes::of(whole.data(), whole.data() + 20)), 3U);
    const ExactBytes out(188, 0xEE);
    EXPECT_TRUE(parser.GetPmtData(out.data()));
    EXPECT_EQ(out[19], 0xFF);
    EXPECT_EQ(out[20], 0x00);
    EXPECT_EQ(out[187], 0x00);
}

TEST(BbtsParser, PmtNamesTheEcmPidFromItsProgramDescriptors) {
    Parser parser;
    parser.withPmt();
    const ByteList other = bytes({0x0A, 4, 'e', 'n', 'g', 0});
    EXPECT_EQ(parser.kind(tsPacket(kPmtPid, pointed(pmt(other + ca(4, kEcmPid))))), 3U);
    EXPECT_EQ(parser.m_ecmPid, static_cast<unsigned int>(kEcmPid));
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
}

TEST(BbtsParser, StreamDescriptorsAreNotLookedAt) {
    Parser parser;
    parser.withPmt();
    const ByteList stream = bytes({0x1B, 0xE1, 0x01, 0xF0, 6}) + ca(4, 0x155);
    parser.parse(tsPacket(kPmtPid, pointed(pmt({}, stream))));
    EXPECT_EQ(parser.m_ecmPid, 0U);
    parser.parse(tsPacket(kPmtPid, pointed(pmt(ca(4, kEcmPid), stream))));
    EXPECT_EQ(parser.m_ecmPid, static_cast<unsigned int>(kEcmPid));
}

TEST(BbtsParser, PrivateDataIsTakenAndReplaced) {
    Parser parser;
    parser.withPmt();
    parser.parse(tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, bytes({1, 2, 3}))))));
    EXPECT_THAT(parser.privateData(), ElementsAre(1, 2, 3));
    parser.parse(tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, bytes({4, 5}))))));
    EXPECT_THAT(parser.privateData(), ElementsAre(4, 5));
    parser.parse(tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, {})))));
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_caPrivateDataSize, 0U);
}

TEST(BbtsParser, TheWalkGoesOnBehindThePrivateData) {
    Parser parser;
    parser.withPmt();
    const ByteList first = caWithData(0x111, bytes({1, 2, 3}));
    parser.parse(tsPacket(kPmtPid, pointed(pmt(first + caWithData(0x122, bytes({4}))))));
    EXPECT_EQ(parser.m_ecmPid, 0x122U);
    EXPECT_THAT(parser.privateData(), ElementsAre(4));
}

TEST(BbtsParser, OtherBytesBehindThePidAreNoPrivateData) {
    Parser parser;
    parser.withPmt();
    const ByteList first = ca(7, 0x111, bytes({2, 1, 0xAA}));
    parser.parse(tsPacket(kPmtPid, pointed(pmt(first + ca(4, 0x122, bytes({1, 1, 0xAA}))))));
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_ecmPid, 0x122U); // 2 + 7 bytes on
}

TEST(BbtsParser, PrivateDataThatThePacketCutsIsNotTaken) {
    Parser parser;
    parser.withPmt();
    parser.parse(tsPacket(kPmtPid, pointed(pmt(caWithData(0x111, bytes({1, 2, 3}))))));
    ByteList table = pmt(ca(255, 0x122, bytes({1, 200})));
    table[11] = 0xFF;
    parser.parse(tsPacket(kPmtPid, pointed(table)));
    EXPECT_EQ(parser.m_ecmPid, 0x122U);
    EXPECT_THAT(parser.privateData(), ElementsAre(1, 2, 3));
}

TEST(BbtsParser, EcmIsKeptOnItsPid) {
    const ExactBytes packet = tsPacket(kEcmPid, bytes({0, 0x80, 0x70}));
    Parser parser;
    EXPECT_EQ(parser.kind(packet), 5U);
    parser.withPmt().parse(tsPacket(kPmtPid, pointed(pmt(ca(4, kEcmPid)))));
    EXPECT_FALSE(parser.IsEcmReady());
    EXPECT_EQ(parser.kind(packet), 4U);
    EXPECT_TRUE(parser.IsEcmReady());
    const ExactBytes out(188);
    EXPECT_TRUE(parser.GetEcmData(out.data()));
    EXPECT_EQ(out.copy(), packet.copy());
}

TEST(BbtsParser, ThePmtsPidGoesBeforeTheEcms) {
    Parser parser;
    parser.withPmt().parse(tsPacket(kPmtPid, pointed(pmt(ca(4, kPmtPid)))));
    EXPECT_EQ(parser.kind(tsPacket(kPmtPid, pointed(pmt({})))), 3U);
    EXPECT_FALSE(parser.IsEcmReady());
}

TEST(BbtsParser, PidsOfPatAndCatAreNeverPmtOrEcm) {
    Parser parser;
    parser.withPmt(1);
    EXPECT_EQ(parser.kind(tsPacket(1, pointed(cat({})))), 2U);
    EXPECT_FALSE(parser.IsPmtReady());
    parser.withPmt().parse(tsPacket(kPmtPid, pointed(pmt(ca(4, 1)))));
    EXPECT_EQ(parser.kind(tsPacket(1, pointed(cat({})))), 2U);
    EXPECT_FALSE(parser.IsEcmReady());
}

TEST(BbtsParser, UnscrambledMarkClearsTheTopTwoBits) {
    Parser parser;
    ExactBytes packet{0x47, 0x01, 0x00, 0xD5};
    EXPECT_TRUE(parser.UpdateNoScramblingControl(packet.data(), 0));
    EXPECT_EQ(packet[3], 0xD5);
    EXPECT_TRUE(parser.UpdateNoScramblingControl(packet.data(), 1));
    EXPECT_EQ(packet[3], 0x15);
    packet[3] = 0x95;
    EXPECT_TRUE(parser.UpdateNoScramblingControl(packet.data(), 255));
    EXPECT_EQ(packet[3], 0x15);
    EXPECT_FALSE(parser.UpdateNoScramblingControl(nullptr, 1));
    EXPECT_FALSE(parser.UpdateNoScramblingControl(nullptr, 0));
}

TEST(BbtsParser, InitForgetsThePrivateDataWithoutFreeingIt) {
    Parser parser;
    parser.withPmt().parse(tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, bytes({1, 2}))))));
    parser.parse(tsPacket(kEcmPid, bytes({0})));
    const std::unique_ptr<unsigned char[]> taken(parser.m_caPrivateData);
    EXPECT_EQ(parser.Init(), 0);
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_caPrivateDataSize, 0U);
    EXPECT_FALSE(parser.IsPmtReady());
    EXPECT_FALSE(parser.IsEcmReady());
    EXPECT_EQ(parser.m_pmtPid, 0U);
    EXPECT_EQ(parser.m_ecmPid, 0U);
    EXPECT_EQ(taken[1], 2);
}

TEST(BbtsParser, FinalFreesThePrivateDataAndKeepsTheRest) {
    CBbtsParser parser;
    CBbtsParser::TS_HEADER header{};
    const ExactBytes pats = tsPacket(0, pointed(pat(program(1, kPmtPid))));
    parser.TsParser(pats.data(), 188, header);
    const ExactBytes pmts = tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, bytes({1, 2})))));
    parser.TsParser(pmts.data(), 188, header);
    ASSERT_NE(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.Final(), 0); // a leak would fail the sanitizer run
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_caPrivateDataSize, 0U);
    EXPECT_TRUE(parser.IsPmtReady());
    EXPECT_EQ(parser.Final(), 0);
}

TEST(BbtsParser, EveryCutOfEveryTableIsLookedAtAsFarAsItGoes) {
    const ByteList streams = bytes({0x1B, 0xE1, 0x01, 0xF0, 0});
    const ExactBytes packets[] = {
        tsPacket(0, pointed(pat(program(1, kPmtPid) + program(2, kPmtPid)))),
        tsPacket(1, pointed(cat(ca(4, 0x111) + bytes({0x84, 2, 4, 0})))),
        tsPacket(kPmtPid, pointed(pmt(caWithData(kEcmPid, bytes({1, 2, 3})), streams))),
        tsPacket(kEcmPid, bytes({0})),
    };
    for (unsigned int size = 1; size < 188; ++size) {
        Parser parser;
        parser.withPmt();
        for (const ExactBytes& packet : packets) {
            const ExactBytes cut = ExactBytes::of(packet.data(), packet.data() + size);
            EXPECT_EQ(parser.parse(cut), 1);
        }
        EXPECT_EQ(parser.m_pmtPid, static_cast<unsigned int>(kPmtPid));
        // Header, pointer, the table's head, the descriptor's and its data.
        EXPECT_EQ(parser.m_caPrivateDataSize, size < 4 + 1 + 12 + 8 + 3 ? 0U : 3U) << size;
    }
}

TEST(BbtsParser, RandomPacketsAreHarmless) {
    std::mt19937 random(14); // the same run every time
    Parser parser;
    for (int round = 0; round < 20000; ++round) {
        const ExactBytes packet(1 + random() % 192);
        for (size_t i = 0; i < packet.size(); ++i)
            packet[i] = static_cast<unsigned char>(random() % 4 == 0 ? random() % 16 : random());
        packet[0] = 0x47;
        if (packet.size() > 4) {
            packet[1] = 0;
            packet[2] = static_cast<unsigned char>(random() % 4);
            packet[4] = static_cast<unsigned char>(random() % 3);
        }
        EXPECT_EQ(parser.parse(packet), 1);
        EXPECT_LE(parser.m_pmtPid, 0x1FFFU);
        EXPECT_LE(parser.m_caPrivateDataSize, 180U);
    }
}

} // namespace
