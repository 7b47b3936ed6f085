// What happens to `pssh` boxes in `moov` and `moof`, and to offsets that point past them.
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>
#include <support/CencStream.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

namespace {

using namespace test::boxes;
using test::deliver;
using test::Emitted;
using test::LogCapture;
using testing::ElementsAre;

constexpr const char* kPlayReady = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
const Bytes kPlayReadyId = {0x9A, 0x04, 0xF0, 0x79, 0x98, 0x40, 0x42, 0x86,
                            0xAB, 0x92, 0xE6, 0x5B, 0xE0, 0x88, 0x5F, 0x95};
const Bytes kOtherId = counting(16, 0xA0);
constexpr const char* kText = "Zm9vYmE="; // "fooba"
const Bytes kData = text("fooba");

std::vector<std::string> inOrder(const LogCapture& log) {
    return log.messages("CCENCMediaContent.cpp");
}

class Rewriting : public testing::Test {
protected:
    CCENCMediaContent content;

    explicit Rewriting(bool avSeparated) { content.init(eDRM_TYPE_PLAYREADY, avSeparated); }

    void describe(const std::string& psshText, const std::string& schemeId = kPlayReady) {
        std::list<dashengine::ContentProtection_t> list(1);
        list.front().schemeIdUri = schemeId;
        list.front().pssh = psshText;
        content.setContentProtectionInfo(1, 1, &list);
    }
    /// A segment of its own.
    Bytes rewritten(const Bytes& segment) {
        const Emitted emitted = test::rewrite(content, segment, segment.size());
        EXPECT_TRUE(emitted.isWhole);
        return emitted.bytes;
    }
    /// One call of process() without final(), whose log lines would be in the way.
    Bytes processed(const Bytes& segment) {
        const Emitted emitted = deliver(content, segment, segment.size());
        EXPECT_TRUE(emitted.isWhole);
        return emitted.bytes;
    }
};

struct Separate : Rewriting {
    Separate()
        : Rewriting(true) {}
};
struct Muxed : Rewriting {
    Muxed()
        : Rewriting(false) {}
};

Bytes moovOf(const Bytes& psshBoxes) {
    return box("moov", box("mvhd", counting(20)) + psshBoxes + box("mvex", counting(12)));
}
Bytes moofOf(const Bytes& trackFragments, const Bytes& more = {}) {
    return box("moof", fullBox("mfhd", 0, 0, u32(1)) + trackFragments + more);
}
/// A fragment with one run, whose data offset is the only number in it above 0x7000.
Bytes plainMoof(unsigned int offset = 0x7000) {
    return moofOf(box("traf", tfhd(1) + sizedRun(offset, {10, 20})));
}

// --- moov, audio and video apart -----------------------------------------------------------------

TEST_F(Separate, RetypesThePsshOfTheMoovAndNothingElse) {
    const Bytes moov = moovOf(pssh(kOtherId, counting(30)));
    const Bytes segment = box("ftyp", counting(8)) + moov;
    const size_t at = find(segment, text("pssh"));
    EXPECT_EQ(rewritten(segment), patched(segment, at, text("free")));
}

TEST_F(Separate, RetypesOnlyTheLastPsshOfTheMoov) {
    const Bytes segment = moovOf(pssh(kOtherId, counting(3)) + pssh(kPlayReadyId, counting(4)));
    const size_t first = find(segment, text("pssh"));
    const size_t last = find(segment, text("pssh"), first + 1);
    EXPECT_EQ(rewritten(segment), patched(segment, last, text("free")));
}

TEST_F(Separate, LooksAtDirectChildrenOfTheMoovOnly) {
    const Bytes segment = moovOf(box("trak", pssh(kOtherId, counting(3))));
    EXPECT_EQ(rewritten(segment), segment);
    EXPECT_EQ(content.getKeptPssh(), "");
}

TEST_F(Separate, KeepsThePsshOfTheMoov) {
    rewritten(moovOf(pssh(kOtherId, counting(3))));
    EXPECT_EQ(content.getKeptPssh(), std::string("\0\1\2", 3));
    EXPECT_EQ(content.getKeptSystemID(), std::string(kOtherId.begin(), kOtherId.end()));
}

TEST_F(Separate, KeepsTheDataBehindTheKeyIdsOfVersionOne) {
    rewritten(moovOf(psshWithKeys(kOtherId, 3, text("behind"))));
    EXPECT_EQ(content.getKeptPssh(), "behind");
}

TEST_F(Separate, LeavesAPsshWithoutDataAloneWhileNothingIsKept) {
    const Bytes segment = moovOf(psshWithKeys(kOtherId, 1, {}));
    EXPECT_EQ(rewritten(segment), segment);
    EXPECT_EQ(content.getKeptSystemID(), "");
}

TEST_F(Separate, RetypesAPsshWithoutDataOnceSomethingIsKept) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    const Bytes segment = moovOf(pssh(kPlayReadyId, {}));
    EXPECT_EQ(rewritten(segment), patched(segment, find(segment, text("pssh")), text("free")));
    EXPECT_EQ(content.getKeptPssh(), "kept");
}

TEST_F(Separate, PassesAMoovWithoutPsshEvenWhenSomethingIsKept) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    const Bytes segment = moovOf({});
    EXPECT_EQ(rewritten(segment), segment);
    EXPECT_EQ(content.getKeptPssh(), "kept");
}

TEST_F(Separate, IgnoresDescriptorsInTheMoov) {
    describe(kText);
    const Bytes segment = moovOf({});
    EXPECT_EQ(rewritten(segment), segment);
}

TEST_F(Separate, LogsTheMoov) {
    LogCapture log;
    processed(moovOf(pssh(kOtherId, counting(3))));
    const auto behind = [](std::vector<std::string> lines) {
        lines.erase(lines.begin()); // the buffer's
        return lines;
    };
    EXPECT_THAT(behind(inOrder(log)),
                ElementsAre(test::highlighted(" Process moov box."), "psshBoxParsing-pBoxData",
                            "[*] media is AVSep.",
                            test::highlighted(" Change PSSH Box Type to FREE.")));
    log.clear();
    processed(moovOf({}));
    EXPECT_THAT(inOrder(log),
                ElementsAre(test::highlighted(" Process moov box."), "[*] media is AVSep."));
}

TEST_F(Separate, WaitsForTheWholeMoov) {
    const Bytes moov = moovOf(pssh(kOtherId, counting(30)));
    const Bytes first(moov.begin(), moov.begin() + 50);
    const Bytes second(moov.begin() + 50, moov.end());
    EXPECT_EQ(deliver(content, first, first.size(), 0).bytes, Bytes());
    EXPECT_EQ(deliver(content, second, second.size(), 0).bytes.size(), moov.size());
}

TEST_F(Separate, RefusesAPsshThatLiesAboutItsData) {
    const Bytes good = pssh(kOtherId, counting(20));
    const Bytes lies[] = {
        patched(good, 28, u32(21)),
        patched(good, 28, u32(0xFFFFFFFF)),
        box("pssh", zeros(23)),
        patched(psshWithKeys(kOtherId, 1, counting(4)), 28, u32(2)),
        patched(psshWithKeys(kOtherId, 1, counting(4)), 28, u32(0x10000000)),
    };
    for (const Bytes& lie : lies) {
        content.init(eDRM_TYPE_PLAYREADY, true);
        EXPECT_FALSE(deliver(content, moovOf(lie), 1000).isWhole);
        EXPECT_EQ(content.getLastErrorCode(), CCENCMediaContent::ERROR_BOX_CONTENT);
        EXPECT_EQ(content.getKeptPssh(), "");
    }
}

// --- moov, multiplexed ---------------------------------------------------------------------------

TEST_F(Muxed, AppendsThePsshOfTheDescriptorToTheMoov) {
    describe(kText);
    const Bytes moov = moovOf({});
    const Bytes added = pssh(kPlayReadyId, kData);
    ASSERT_EQ(added.size(), kData.size() + 32);
    const Bytes grown = patched(moov, 0, u32(static_cast<unsigned int>(moov.size() + 37)));
    EXPECT_EQ(rewritten(moov + box("free", counting(4))), grown + added + box("free", counting(4)));
}

TEST_F(Muxed, ReplacesTheLastPsshOfTheMoov) {
    for (const size_t size : {1U, 5U, 60U}) {
        describe(kText);
        const Bytes first = pssh(kOtherId, counting(7));
        const Bytes segment = moovOf(first + pssh(kOtherId, counting(size)));
        EXPECT_EQ(rewritten(segment), moovOf(first + pssh(kPlayReadyId, kData)));
    }
}

TEST_F(Muxed, PassesTheMoovWithoutAMatchingDescriptor) {
    const Bytes segment = moovOf(pssh(kOtherId, counting(7)));
    EXPECT_EQ(rewritten(segment), segment);
    describe(kText, "urn:mpeg:dash:mp4protection:2011");
    EXPECT_EQ(rewritten(segment), segment);
}

TEST_F(Muxed, AsksForThePeriodAndRepresentationOfTheCall) {
    describe(kText);
    const Bytes moov = moovOf({});
    EXPECT_EQ(deliver(content, moov, moov.size(), 100, 1, 2).bytes, moov);
    EXPECT_EQ(deliver(content, moov, moov.size(), 100, 2, 1).bytes, moov);
    EXPECT_EQ(deliver(content, moov, moov.size(), 100, 1, 1).bytes.size(), moov.size() + 37);
}

TEST_F(Muxed, TakesTheSecondPsshTextWhereTheFirstIsEmpty) {
    std::list<dashengine::ContentProtection_t> list(1);
    list.front().schemeIdUri = kPlayReady;
    list.front().alternatePssh = "QUJD";
    content.setContentProtectionInfo(1, 1, &list);
    EXPECT_EQ(rewritten(moovOf({})),
              box("moov", box("mvhd", counting(20)) + box("mvex", counting(12)) +
                              pssh(kPlayReadyId, text("ABC"))));
}

TEST_F(Muxed, BuildsAnEmptyPsshForADescriptorWithoutText) {
    describe("");
    EXPECT_EQ(rewritten(moovOf(pssh(kOtherId, counting(7)))), moovOf(pssh(kPlayReadyId, {})));
}

Bytes sampleTables(const Bytes& tables) {
    return box("trak", box("mdia", box("minf", box("stbl", tables))));
}
Bytes stco(const std::vector<unsigned int>& offsets) {
    return patched(saio(offsets), 4, text("stco"));
}
Bytes co64(const std::vector<unsigned long long>& offsets) {
    Bytes entries = u32(static_cast<unsigned int>(offsets.size()));
    for (const unsigned long long offset : offsets)
        entries = entries + u64(offset);
    return fullBox("co64", 0, 0, entries);
}

TEST_F(Muxed, MovesWhatTheMoovItselfSaysOfSamplesBehindIt) {
    describe(kText);
    const Bytes ftyp = box("ftyp", counting(8));
    const auto moov = [](unsigned int by, const Bytes& more = {}) {
        const unsigned int end = 16 + 8 + 8 * 4 + 28 + 32 + 24; // of the box as it came
        return box("moov", sampleTables(stco({10, end - 1, end + by}) +
                                        co64({0, 0x700000000ULL + by}) + saio({20, 500 + by})) +
                               more);
    };
    ASSERT_EQ(moov(0).size(), 8U + 8 * 4 + 28 + 32 + 24);
    EXPECT_EQ(rewritten(ftyp + moov(0)), ftyp + moov(37, pssh(kPlayReadyId, kData)));
}

TEST_F(Muxed, MovesItBackWhereTheMoovShrinks) {
    describe(kText);
    const auto moov = [](unsigned int offset, const Bytes& more) {
        return box("moov", sampleTables(stco({offset})) + more);
    };
    EXPECT_EQ(rewritten(moov(1000, pssh(kOtherId, zeros(15)))),
              moov(990, pssh(kPlayReadyId, kData)));
}

TEST_F(Muxed, RefusesAChunkOffsetThatWouldOverflow) {
    describe(kText);
    for (const Bytes& table : {stco({0xFFFFFFFF}), co64({0xFFFFFFFFFFFFFFFFULL})}) {
        content.startSegment();
        EXPECT_FALSE(deliver(content, box("moov", sampleTables(table)), 1000).isWhole);
    }
}

TEST_F(Muxed, LeavesSampleTablesAloneThatNobodyCanRead) {
    describe(kText);
    const Bytes lies[] = {
        box("stco", zeros(3)),
        fullBox("stco", 0, 0, u32(2) + u32(5000)),
        fullBox("co64", 0, 0, u32(0x20000000) + u64(5000)),
        sizedBox(99, "stco"),
        fullBox("saio", 0, 0, u32(3) + u32(5000)),
    };
    for (const Bytes& lie : lies) {
        const Bytes moov = box("moov", sampleTables(lie));
        const Bytes out = rewritten(moov);
        EXPECT_EQ(Bytes(out.begin() + 8, out.begin() + static_cast<std::ptrdiff_t>(moov.size())),
                  Bytes(moov.begin() + 8, moov.end()));
    }
}

TEST_F(Muxed, LogsTheMoov) {
    describe(kText);
    content.setContentProtectionInfo(3, 4, nullptr);
    const LogCapture log;
    processed(moovOf({}));
    EXPECT_THAT(inOrder(log),
                ElementsAre(" [*] resizeBuffer( 57 )", test::highlighted(" Process moov box."),
                            "[*] num of [=] ( 1 )",
                            test::highlighted(" AVMux Get PSSH Box Infomation From MPD.period:1, "
                                              "rprst:1"),
                            "AVMux Get PSSH Box Infomation From MPD PsshInfo:Zm9vYmE="));
}

// --- moof, multiplexed ---------------------------------------------------------------------------

TEST_F(Muxed, PassesTheMoofUnchanged) {
    describe(kText);
    const LogCapture log;
    const Bytes moof = plainMoof();
    EXPECT_EQ(rewritten(moof), moof);
    EXPECT_TRUE(log.contains("Media is AV Mux."));
    EXPECT_FALSE(log.contains("Media is AV Sep."));
}

// --- moof, audio and video apart -----------------------------------------------------------------

TEST_F(Separate, InsertsThePsshOfTheDescriptorIntoTheMoof) {
    describe(kText);
    const Bytes segment = plainMoof() + box("mdat", counting(30));
    const Bytes expected =
        moofOf(box("traf", tfhd(1) + sizedRun(0x7000 + 37, {10, 20})), pssh(kPlayReadyId, kData)) +
        box("mdat", counting(30));
    EXPECT_EQ(rewritten(segment), expected);
}

TEST_F(Separate, InsertsWhatWasKeptWithItsSystemId) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    EXPECT_EQ(rewritten(plainMoof()), moofOf(box("traf", tfhd(1) + sizedRun(0x7000 + 36, {10, 20})),
                                             pssh(kOtherId, text("kept"))));
}

TEST_F(Separate, PrefersTheDescriptorToWhatWasKept) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    describe(kText);
    EXPECT_LT(find(rewritten(plainMoof()), pssh(kPlayReadyId, kData)), 1000U);
}

TEST_F(Separate, TakesWhatWasKeptWhereTheDescriptorHasNoData) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    describe("");
    const Bytes out = rewritten(plainMoof());
    EXPECT_LT(find(out, pssh(kOtherId, text("kept"))), out.size());
}

TEST_F(Separate, InsertsAnEmptyPsshForADescriptorAlone) {
    describe("");
    const Bytes out = rewritten(plainMoof());
    EXPECT_LT(find(out, pssh(kPlayReadyId, {})), out.size());
}

TEST_F(Separate, PassesTheMoofWhenNothingIsKnown) {
    describe(kText, "urn:mpeg:dash:mp4protection:2011");
    EXPECT_EQ(rewritten(plainMoof()), plainMoof());
}

TEST_F(Separate, PassesAMoofWithAPsshOfItsOwn) {
    describe(kText);
    const Bytes moof = moofOf(box("traf", tfhd(1) + sizedRun(100, {1})), pssh(kOtherId, {1}));
    const LogCapture log;
    EXPECT_EQ(rewritten(moof), moof);
    EXPECT_TRUE(log.contains("Do not need to insert pssh box."));
    EXPECT_EQ(content.getKeptPssh(), "") << "a fragment's own data is not kept";
}

TEST_F(Separate, ForgetsWhatWasKeptAtInit) {
    rewritten(moovOf(pssh(kOtherId, text("kept"))));
    content.init(eDRM_TYPE_PLAYREADY, true);
    EXPECT_EQ(rewritten(plainMoof()), plainMoof());
}

TEST_F(Separate, LogsTheMoof) {
    describe(kText);
    LogCapture log;
    processed(plainMoof());
    EXPECT_THAT(inOrder(log),
                ElementsAre(" [*] resizeBuffer( 77 )", "Process moof box.", "Process traf box.",
                            "Process trun box.", "Offset is 64.", "Media is AV Sep.",
                            "[*] num of [=] ( 1 )", "Pssh box size:37.", "Get Pssh box systemID."));
    log.clear();
    content.setContentProtectionInfo(1, 1, nullptr);
    processed(moofOf(box("traf", tfhd(1)) + box("traf", tfhd(2) + trun(0, 1))));
    EXPECT_THAT(inOrder(log),
                ElementsAre(" [*] resizeBuffer( 89 )", "Process moof box.", "Process traf box.",
                            "Trun box is not exist!", "Process traf box.", "Process trun box.",
                            "data_offset attribute is not exist.", "Media is AV Sep."));
}

constexpr unsigned int kBaseIsMoof = 0x020000;

TEST_F(Separate, MovesEveryRunOfEveryTrack) {
    describe(kText);
    const auto fragment = [](unsigned int by) {
        return box("traf",
                   tfhd(1) + sizedRun(0x1000 + by, {1}) + trun(0, 5) + sizedRun(0x2000 + by, {1})) +
               box("traf", tfhd(2, kBaseIsMoof) + sizedRun(0x3000 + by, {1}));
    };
    EXPECT_EQ(rewritten(moofOf(fragment(0))), moofOf(fragment(37), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, LeavesWhatCountsFromTheDataOfTheTrackBefore) {
    describe(kText);
    const auto fragment = [](unsigned int by) {
        return box("traf", tfhd(1) + sizedRun(0x1000 + by, {1})) +
               box("traf", tfhd(2) + sizedRun(0, {1}) + sizedRun(9, {1}) + saio({5, 0x4000})) +
               box("traf",
                   tfhd(3, kBaseIsMoof) + sizedRun(0x3000 + by, {1}) + saio({5, 999 + by})) +
               box("traf", tfhd(4) + sizedRun(0x5000, {1}));
    };
    EXPECT_EQ(rewritten(moofOf(fragment(0))), moofOf(fragment(37), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, ATrackWithoutRunsHasNoDataToCountFrom) {
    describe(kText);
    const auto fragment = [](unsigned int by) {
        return box("traf", tfhd(1)) + box("traf", tfhd(2) + sizedRun(0x1000 + by, {1}));
    };
    EXPECT_EQ(rewritten(moofOf(fragment(0))), moofOf(fragment(37), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, LeavesOffsetsToSamplesInFrontOfTheMoof) {
    describe(kText);
    const auto size = static_cast<int>(moofOf(box("traf", tfhd(1) + sizedRun(0, {1}))).size());
    for (const int offset : {-40, 0, size - 1}) {
        const Bytes fragment =
            box("traf", tfhd(1) + sizedRun(static_cast<unsigned int>(offset), {1}));
        EXPECT_EQ(rewritten(moofOf(fragment)), moofOf(fragment, pssh(kPlayReadyId, kData)));
    }
    EXPECT_EQ(rewritten(moofOf(box("traf", tfhd(1) + sizedRun(static_cast<unsigned>(size), {1})))),
              moofOf(box("traf", tfhd(1) + sizedRun(static_cast<unsigned>(size) + 37, {1})),
                     pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, RefusesAnOffsetThatWouldOverflow) {
    describe(kText);
    const Bytes good = box("free", counting(4));
    for (const unsigned int offset : {0x7FFFFFFFU, 0x7FFFFFFFU - 36}) {
        content.startSegment();
        const Emitted emitted = deliver(content, good + plainMoof(offset), 1000);
        EXPECT_FALSE(emitted.isWhole);
        EXPECT_EQ(emitted.bytes, good);
        EXPECT_EQ(content.getLastErrorCode(), CCENCMediaContent::ERROR_BOX_CONTENT);
    }
    content.startSegment();
    EXPECT_TRUE(deliver(content, plainMoof(0x7FFFFFFFU - 37), 1000).isWhole);
}

TEST_F(Separate, MovesAuxiliaryOffsetsBehindTheMoofOnly) {
    describe(kText);
    const auto fragment = [](unsigned int by, unsigned int inside) {
        const Bytes shorts = saio({inside, 5000 + by, 200 + by});
        const Bytes longs =
            fullBox("saio", 1, 1, zeros(8) + u32(2) + u64(inside) + u64(0x900000000ULL + by));
        return box("traf", tfhd(1) + sizedRun(200 + by, {1}) + shorts + longs);
    };
    const auto size = static_cast<unsigned int>(moofOf(fragment(0, 0)).size());
    ASSERT_LT(size, 200U);
    EXPECT_EQ(rewritten(moofOf(fragment(0, size - 1))),
              moofOf(fragment(37, size - 1), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, RefusesAnAuxiliaryOffsetThatWouldOverflow) {
    describe(kText);
    const Bytes shorts = saio({0xFFFFFFFFU});
    const Bytes longs = fullBox("saio", 1, 0, u32(1) + u64(0xFFFFFFFFFFFFFFFFULL));
    for (const Bytes& offsets : {shorts, longs}) {
        content.startSegment();
        EXPECT_FALSE(deliver(content, moofOf(box("traf", tfhd(1) + offsets)), 1000).isWhole);
    }
}

TEST_F(Separate, RefusesFragmentsWhoseFieldsAreCut) {
    describe(kText);
    const Bytes lies[] = {
        box("tfhd", zeros(7)),
        fullBox("tfhd", 0, 1, zeros(11)),
        box("trun", zeros(7)),
        fullBox("trun", 0, 1, zeros(7)),
        box("saio", zeros(7)),
        fullBox("saio", 0, 1, zeros(11)),
        fullBox("saio", 0, 0, u32(2) + zeros(7)),
        fullBox("saio", 1, 0, u32(0x20000000) + zeros(32)),
        sizedBox(9, "trun"),
    };
    for (const Bytes& lie : lies) {
        content.startSegment();
        EXPECT_FALSE(deliver(content, moofOf(box("traf", lie)), 1000).isWhole);
    }
}

/// A fragment that counts from the beginning of the file.
Bytes absoluteMoof(unsigned long long base, unsigned int offset, const Bytes& more = {}) {
    return moofOf(box("traf", tfhd(1, 1, u64(base)) + sizedRun(offset, {4})), more);
}

TEST_F(Separate, MovesAbsoluteBasesByWhatWasInsertedBefore) {
    describe(kText);
    const Bytes mdat = box("mdat", counting(4));
    const Bytes segment = absoluteMoof(0, 100) + mdat + absoluteMoof(1000, 100) + mdat +
                          absoluteMoof(2000, 100) + mdat;
    const Bytes added = pssh(kPlayReadyId, kData);
    const Bytes expected = absoluteMoof(0, 137, added) + mdat + absoluteMoof(1037, 137, added) +
                           mdat + absoluteMoof(2074, 137, added) + mdat;
    EXPECT_EQ(rewritten(segment), expected);
    EXPECT_EQ(rewritten(segment), expected) << "each segment counts anew";
}

TEST_F(Separate, MovesTheBaseWhereTheRunsHaveNoOffset) {
    describe(kText);
    const auto fragment = [](unsigned long long base, unsigned int second) {
        return box("traf", tfhd(1, 1, u64(base)) + trun(0x200, 1, u32(4)) + sizedRun(second, {4}));
    };
    EXPECT_EQ(rewritten(moofOf(fragment(500, 4))),
              moofOf(fragment(537, 4), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, CountsFromAbsoluteBases) {
    describe(kText);
    const Bytes front = box("mdat", counting(200)); // and the `moof` begins at 208
    const auto fragment = [](unsigned long long base, unsigned int offset, unsigned int info) {
        return moofOf(box("traf", tfhd(1, 1, u64(base)) + sizedRun(offset, {4}) + saio({info})));
    };
    const auto size = static_cast<unsigned int>(fragment(0, 0, 0).size());
    const auto expect = [&](const Bytes& before, const Bytes& after) {
        const Bytes grown = patched(after, 0, u32(size + 37)) + pssh(kPlayReadyId, kData);
        EXPECT_EQ(rewritten(front + before), front + grown);
    };
    const unsigned int end = 208 + size;
    expect(fragment(0, 8, 20), fragment(0, 8, 20));
    expect(fragment(0, end, end - 1), fragment(0, end + 37, end - 1));
    expect(fragment(208, size, size), fragment(208, size + 37, size + 37));
    expect(fragment(208, static_cast<unsigned int>(-200), 50),
           fragment(208, static_cast<unsigned int>(-200), 50));
    expect(fragment(end + 8, 0, 4), fragment(end + 8, 37, 41));
    expect(fragment(90000, size + 8, 50), fragment(90000, size + 45, 50));
}

TEST_F(Separate, AuxiliaryInformationMovesWithABaseThatDoes) {
    describe(kText);
    const auto fragment = [](unsigned long long base) {
        return box("traf", tfhd(1, 1, u64(base)) + trun(0x200, 1, u32(4)) + saio({4, 5000}));
    };
    EXPECT_EQ(rewritten(moofOf(fragment(500))), moofOf(fragment(537), pssh(kPlayReadyId, kData)));
}

TEST_F(Separate, RefusesABaseThatWouldOverflow) {
    describe(kText);
    const Bytes segment = plainMoof() + absoluteMoof(0xFFFFFFFFFFFFFFFFULL, 0);
    const Emitted emitted = deliver(content, segment, segment.size());
    EXPECT_FALSE(emitted.isWhole);
    EXPECT_EQ(emitted.bytes.size(), plainMoof().size() + 37);
}

TEST_F(Muxed, MovesAbsoluteBasesByWhatTheMoovGrew) {
    describe(kText);
    EXPECT_EQ(rewritten(moovOf({}) + absoluteMoof(1000, 100)),
              box("moov", box("mvhd", counting(20)) + box("mvex", counting(12)) +
                              pssh(kPlayReadyId, kData)) +
                  absoluteMoof(1037, 100));
}

TEST_F(Muxed, MovesAbsoluteBasesBackByWhatTheMoovShrank) {
    describe(kText);
    EXPECT_EQ(rewritten(moovOf(pssh(kOtherId, counting(15))) + absoluteMoof(1000, 100)),
              moovOf(pssh(kPlayReadyId, kData)) + absoluteMoof(990, 100));
}

TEST_F(Muxed, RefusesABaseBeforeTheFile) {
    describe(kText);
    const Bytes segment = moovOf(pssh(kOtherId, counting(15))) + absoluteMoof(9, 100);
    EXPECT_FALSE(deliver(content, segment, segment.size()).isWhole);
}

TEST_F(Separate, ManyFragmentsInOneChunkAllGetTheirPssh) {
    describe(kText);
    Bytes segment;
    for (int i = 0; i < 50; ++i)
        segment = segment + plainMoof() + box("mdat", counting(5));
    const Emitted emitted = test::rewrite(content, segment, segment.size(), 50 * 37);
    EXPECT_EQ(emitted.bytes.size(), segment.size() + 50 * 37);
}

// --- finding the data offset ---------------------------------------------------------------------

} // namespace
