// The walk over a fragment.
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>
#include <support/ExactBytes.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace test::boxes;
using test::ExactBytes;
using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kNone = MOOF_TRACK_FORMAT::AUX_NONE;
constexpr unsigned int kResolved = MOOF_TRACK_FORMAT::AUX_RESOLVED;
constexpr unsigned int kUnresolved = MOOF_TRACK_FORMAT::AUX_UNRESOLVED;

/// Two known tracks: 1 with IVs of 8 bytes, 2 with IVs of 16.
class Fragment : public testing::Test {
protected:
    CCENCMediaContent content;

    Fragment() {
        addTrack(1, 8);
        addTrack(2, 16);
    }

    void addTrack(unsigned int id, unsigned char ivSize) {
        TRACK_FORMAT track;
        track.trackId = id;
        track.perSampleIvSize = ivSize;
        content.addTrackData(track);
    }
    int parse(const ExactBytes& bytes) {
        return content.parsingBox(readU32(bytes.copy(), 4), bytes.data(), bytes.size());
    }
    int parse(const Bytes& bytes) { return parse(ExactBytes(bytes)); }
    int walk(const ExactBytes& bytes) { return content.moofBoxParsing(bytes.data()); }
    int walk(const Bytes& bytes) { return walk(ExactBytes(bytes)); }

    const MOOF_TRACK_FORMAT& track() { return content.getMoofTracks().back(); }
    std::vector<unsigned int> sizes() {
        std::vector<unsigned int> all;
        for (const SAMPLE_FORMAT& sample : track().samples)
            all.push_back(sample.size);
        return all;
    }
    std::vector<unsigned int> auxSizes() {
        std::vector<unsigned int> all;
        for (const SAMPLE_FORMAT& sample : track().samples)
            all.push_back(sample.auxSize);
        return all;
    }
    Bytes iv(size_t sample) {
        const SAMPLE_FORMAT& it = track().samples.at(sample);
        return {it.iv, it.iv + it.ivSize};
    }
    std::vector<std::pair<unsigned int, unsigned int>> subsamples(size_t sample) {
        const SAMPLE_FORMAT& it = track().samples.at(sample);
        std::vector<std::pair<unsigned int, unsigned int>> all;
        for (size_t i = it.firstSubsample; all.size() < it.subsampleCount; ++i)
            all.emplace_back(track().subsamples.at(i).clearBytes,
                             track().subsamples.at(i).protectedBytes);
        return all;
    }
};

using Pair = std::pair<unsigned int, unsigned int>;

// --- tfhd ----------------------------------------------------------------------------------------

TEST_F(Fragment, TfhdGivesEveryFieldItsFlagsAnnounce) {
    LogCapture log;
    const Bytes fields = u64(0x0102030405060708ULL) + u32(2) + u32(3) + u32(4) + u32(5);
    EXPECT_EQ(parse(tfhd(1, 0x3B, fields)), 40);
    EXPECT_EQ(track().trackId, 1U);
    EXPECT_EQ(track().flags, 0x3BU);
    EXPECT_EQ(track().baseDataOffset, 0x0102030405060708ULL);
    EXPECT_EQ(track().sampleDescriptionIndex, 2U);
    EXPECT_EQ(track().defaultSampleDuration, 3U);
    EXPECT_EQ(track().defaultSampleSize, 4U);
    EXPECT_EQ(track().defaultSampleFlags, 5U);
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"), ElementsAre("#TFHD# nFlag: 59"));
}

TEST_F(Fragment, TfhdReadsEachFieldAlone) {
    EXPECT_EQ(parse(tfhd(1, 0x020000)), 16) << "the default base is no field";
    EXPECT_EQ(track().baseDataOffset, 0U);
    EXPECT_EQ(track().defaultSampleSize, 0U);
    EXPECT_EQ(parse(tfhd(1, 0x01, u64(9))), 24);
    EXPECT_EQ(track().baseDataOffset, 9U);
    EXPECT_EQ(parse(tfhd(1, 0x02, u32(9))), 20);
    EXPECT_EQ(track().sampleDescriptionIndex, 9U);
    EXPECT_EQ(parse(tfhd(1, 0x08, u32(9))), 20);
    EXPECT_EQ(track().defaultSampleDuration, 9U);
    EXPECT_EQ(parse(tfhd(1, 0x10, u32(9))), 20);
    EXPECT_EQ(track().defaultSampleSize, 9U);
    EXPECT_EQ(parse(tfhd(1, 0x20, u32(9))), 20);
    EXPECT_EQ(track().defaultSampleFlags, 9U);
}

TEST_F(Fragment, RecordsBeginWithTheirResetValues) {
    const MOOF_TRACK_FORMAT record;
    EXPECT_EQ(record.trackId, 0xFFFFFFFFU);
    EXPECT_EQ(record.flags, 0U);
    EXPECT_EQ(record.baseDataOffset, 0U);
    EXPECT_EQ(record.sampleCount, 0U);
    EXPECT_EQ(record.dataOffset, 0);
    EXPECT_EQ(record.auxResolved, 0U);
}

TEST_F(Fragment, TfhdOfAnUnknownTrackIsConsumedAndNothingIsKept) {
    EXPECT_EQ(parse(tfhd(3, 0x10, u32(4))), 20);
    EXPECT_THAT(content.getMoofTracks(), IsEmpty());
}

TEST_F(Fragment, TfhdFailsWhenItsFieldsAreNotThere) {
    EXPECT_EQ(parse(fullBox("tfhd", 0, 0, zeros(3))), -1);
    EXPECT_EQ(parse(tfhd(1, 0x01, zeros(7))), -1);
    EXPECT_EQ(parse(tfhd(1, 0x3B, zeros(23))), -1);
    EXPECT_THAT(content.getMoofTracks(), IsEmpty());
}

// --- trun ----------------------------------------------------------------------------------------

TEST_F(Fragment, TrunGivesEverySampleItsSize) {
    parse(tfhd(1));
    LogCapture log;
    const Bytes run = trun(0xF05, 2,
                           u32(0xFFFFFFF0) + u32(7) + u32(1) + u32(100) + u32(0x2000) + u32(5) +
                               u32(1) + u32(50) + u32(0x3000) + u32(6));
    EXPECT_EQ(parse(run), static_cast<int>(run.size()));
    EXPECT_THAT(sizes(), ElementsAre(100, 50));
    EXPECT_EQ(track().dataOffset, -16);
    EXPECT_EQ(track().sampleCount, 2U);
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre(" [*] \tBaseOffset : -16", "#TRUN#, uSampleSize: 100",
                            "#TRUN#, uSampleFlag: 8192", "#TRUN#, uSampleSize: 50",
                            "#TRUN#, uSampleFlag: 12288", " [*] \t total sample size : 150",
                            " [*] \t total sample count : 2"));
}

TEST_F(Fragment, TrunTakesTheDefaultSize) {
    parse(tfhd(1, 0x10, u32(33)));
    const LogCapture log;
    EXPECT_EQ(parse(trun(0x100, 3, zeros(12))), 28);
    EXPECT_THAT(sizes(), ElementsAre(33, 33, 33));
    EXPECT_THAT(log.messages(),
                ElementsAre(" [*] \t total sample size : 99", " [*] \t total sample count : 3"));
}

TEST_F(Fragment, TrunReadsEveryCombinationOfFields) {
    for (unsigned int bits = 0; bits < 64; ++bits) {
        const unsigned int flags = (bits & 1) | (bits & 2) << 1 | (bits >> 2) << 8;
        Bytes fields;
        for (const unsigned int field : {0x1U, 0x4U, 0x100U, 0x200U, 0x400U, 0x800U}) {
            if ((flags & field) != 0)
                fields = fields + u32(field);
        }
        parse(tfhd(1, 0x10, u32(7)));
        EXPECT_EQ(parse(trun(flags, 1, fields)), static_cast<int>(16 + fields.size()));
        EXPECT_THAT(sizes(), ElementsAre((flags & 0x200) != 0 ? 0x200U : 7U));
        EXPECT_EQ(track().dataOffset, (flags & 1) != 0 ? 1 : 0);
    }
}

TEST_F(Fragment, RunsOfATrackAddUp) {
    parse(tfhd(1));
    parse(sizedRun(10, {1, 2}));
    parse(sizedRun(20, {3}));
    EXPECT_THAT(sizes(), ElementsAre(1, 2, 3));
    EXPECT_EQ(track().sampleCount, 3U);
    EXPECT_THAT(track().runSampleCounts, ElementsAre(2, 1));
    EXPECT_EQ(track().dataOffset, 20);
}

TEST_F(Fragment, TrunOfAnUnknownTrackIsConsumed) {
    EXPECT_EQ(parse(sizedRun(10, {1, 2})), 28);
    parse(tfhd(1));
    parse(tfhd(3));
    EXPECT_EQ(parse(sizedRun(10, {1, 2})), 28);
    EXPECT_THAT(track().samples, IsEmpty()) << "not given to the track before";
}

TEST_F(Fragment, TrunFailsForACountItCannotHold) {
    parse(tfhd(1));
    EXPECT_EQ(parse(trun(0x200, 3, zeros(11))), -1);
    EXPECT_EQ(parse(trun(0x200, 0xFFFFFFFF, zeros(12))), -1);
    EXPECT_EQ(parse(trun(0xF00, 0x10000000, zeros(16))), -1) << "the product is 2^32";
    EXPECT_EQ(parse(trun(0x205, 1, zeros(11))), -1);
    EXPECT_EQ(parse(trun(0x5, 0, zeros(7))), -1);
    EXPECT_EQ(parse(fullBox("trun", 0, 0, zeros(3))), -1);
    EXPECT_THAT(track().samples, IsEmpty());
}

TEST_F(Fragment, TrunFailsForTooManySamplesThatTakeNoBytes) {
    parse(tfhd(1));
    EXPECT_EQ(parse(trun(0, 0xFFFFFFFF)), -1);
    EXPECT_EQ(parse(trun(0, 0x40001)), -1);
    EXPECT_EQ(parse(trun(0, 0x3FFFF)), 16);
    EXPECT_EQ(parse(trun(0, 1)), 16);
    EXPECT_EQ(parse(trun(0, 1)), -1) << "all runs together";
    EXPECT_EQ(track().sampleCount, 0x40000U);
    EXPECT_EQ(walk(box("moof", box("traf", tfhd(1) + trun(0, 0x40000)))), 48)
        << "each fragment anew";
}

// --- saiz ----------------------------------------------------------------------------------------

TEST_F(Fragment, SaizGivesEverySampleItsSize) {
    parse(tfhd(1));
    parse(sizedRun(0, {1, 1, 1}));
    const ExactBytes bytes(saiz(0, 3, {8, 16, 0}));
    EXPECT_EQ(parse(bytes), 20);
    EXPECT_THAT(auxSizes(), ElementsAre(8, 16, 0));
    EXPECT_EQ(track().auxResolved, kUnresolved);
    EXPECT_EQ(typeAt(bytes.copy(), 0), "free");
}

TEST_F(Fragment, SaizStepsOverItsType) {
    parse(tfhd(1));
    parse(sizedRun(0, {1}));
    EXPECT_EQ(parse(fullBox("saiz", 0, 1, text("cenc") + u32(0) + u8(0) + u32(1) + u8(22))), 26);
    EXPECT_THAT(auxSizes(), ElementsAre(22));
}

TEST_F(Fragment, SaizWithADefaultGivesItToEverySample) {
    parse(tfhd(1));
    parse(sizedRun(0, {1, 1}));
    EXPECT_EQ(parse(saiz(24, 2)), 17);
    EXPECT_THAT(auxSizes(), ElementsAre(24, 24));
    parse(tfhd(1));
    parse(sizedRun(0, {1, 1}));
    EXPECT_EQ(parse(fullBox("saiz", 0, 1, zeros(8) + u8(24) + u32(2))), 25);
}

TEST_F(Fragment, SaizOfAnotherCountFailsAndIsRetyped) {
    parse(tfhd(1));
    parse(sizedRun(0, {1, 1}));
    for (const Bytes& it : {saiz(0, 3, {8, 8, 8}), saiz(0, 1, {8}), saiz(8, 3), saiz(8, 0)}) {
        const ExactBytes bytes(it);
        EXPECT_EQ(parse(bytes), -1);
        EXPECT_EQ(typeAt(bytes.copy(), 0), "free");
        EXPECT_THAT(auxSizes(), ElementsAre(0, 0));
        EXPECT_EQ(track().auxResolved, kNone);
    }
}

TEST_F(Fragment, SaizFailsWithoutATrackOrItsFields) {
    EXPECT_EQ(parse(saiz(8, 0)), -1);
    parse(tfhd(1));
    parse(sizedRun(0, {1, 1}));
    EXPECT_EQ(parse(box("saiz", zeros(3))), -1);
    EXPECT_EQ(parse(fullBox("saiz", 0, 0, zeros(4))), -1);
    EXPECT_EQ(parse(fullBox("saiz", 0, 1, zeros(12))), -1);
    EXPECT_EQ(parse(saiz(0, 2, {8})), -1);
    EXPECT_THAT(auxSizes(), ElementsAre(0, 0));
}

// --- saio ----------------------------------------------------------------------------------------

TEST_F(Fragment, SaioKeepsItsOffsets) {
    parse(tfhd(1));
    const LogCapture log;
    const ExactBytes bytes(saio({100, 0xFFFFFFFF}));
    EXPECT_EQ(parse(bytes), 24);
    EXPECT_EQ(track().saioCount, 2U);
    EXPECT_THAT(track().saioOffsets, ElementsAre(100, 0xFFFFFFFF));
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"),
                ElementsAre(" [*] szio::offset ( 100 )", " [*] szio::offset ( -1 )"));
    EXPECT_EQ(typeAt(bytes.copy(), 0), "free");
}

TEST_F(Fragment, SaioOfVersionOneKeepsTheLowWordFirst) {
    parse(tfhd(1));
    EXPECT_EQ(parse(fullBox("saio", 1, 1, zeros(8) + u32(2) + u64(0x100000002ULL) + u64(3))), 40);
    EXPECT_EQ(track().saioCount, 2U);
    EXPECT_THAT(track().saioOffsets, ElementsAre(2, 1, 3, 0));
}

TEST_F(Fragment, SaioFailsWithoutATrackOrItsEntries) {
    EXPECT_EQ(parse(saio({1})), -1);
    parse(tfhd(1));
    EXPECT_EQ(parse(fullBox("saio", 0, 0, zeros(3))), -1);
    EXPECT_EQ(parse(fullBox("saio", 0, 1, zeros(11))), -1);
    EXPECT_EQ(parse(fullBox("saio", 0, 0, u32(2) + zeros(7))), -1);
    EXPECT_EQ(parse(fullBox("saio", 0, 0, u32(0x40000000) + zeros(8))), -1);
    EXPECT_EQ(parse(fullBox("saio", 1, 0, u32(0x20000000) + zeros(8))), -1);
    EXPECT_THAT(track().saioOffsets, IsEmpty());
}

// --- senc ----------------------------------------------------------------------------------------

TEST_F(Fragment, SencGivesIvsAndSubsamples) {
    parse(tfhd(1));
    parse(sizedRun(0, {100, 200}));
    const Bytes entries = counting(8, 1) + u16(2) + subsample(10, 20) + subsample(30, 40) +
                          counting(8, 9) + u16(1) + subsample(0xFFFF, 0xFFFFFFFF);
    const ExactBytes bytes(senc(2, 2, entries));
    EXPECT_EQ(parse(bytes), static_cast<int>(bytes.size()));
    EXPECT_EQ(iv(0), counting(8, 1));
    EXPECT_EQ(iv(1), counting(8, 9));
    EXPECT_THAT(subsamples(0), ElementsAre(Pair(10, 20), Pair(30, 40)));
    EXPECT_THAT(subsamples(1), ElementsAre(Pair(0xFFFF, 0xFFFFFFFF)));
    EXPECT_EQ(track().auxResolved, kResolved);
    EXPECT_EQ(typeAt(bytes.copy(), 0), "free");
}

TEST_F(Fragment, SencWithoutSubsamplesGivesIvsOnly) {
    parse(tfhd(2));
    parse(sizedRun(0, {100, 200}));
    EXPECT_EQ(parse(senc(0, 2, counting(32))), 48);
    EXPECT_EQ(iv(0), counting(16));
    EXPECT_EQ(iv(1), counting(16, 16));
    EXPECT_THAT(subsamples(0), IsEmpty());
    EXPECT_THAT(track().subsamples, IsEmpty());
}

TEST_F(Fragment, SencOfATrackWithoutIvsHasSubsamplesOnly) {
    addTrack(3, 0);
    parse(tfhd(3));
    parse(sizedRun(0, {100}));
    EXPECT_EQ(parse(senc(2, 1, u16(1) + subsample(1, 2))), 24);
    EXPECT_EQ(iv(0), Bytes());
    EXPECT_THAT(subsamples(0), ElementsAre(Pair(1, 2)));
}

TEST_F(Fragment, SencDoesNotAskItsOwnCount) {
    parse(tfhd(1));
    parse(sizedRun(0, {100}));
    EXPECT_EQ(parse(senc(0, 0xFFFFFFFF, counting(8))), 24);
    EXPECT_EQ(parse(senc(0, 0, counting(8))), 24);
    EXPECT_EQ(iv(0), counting(8));
}

TEST_F(Fragment, SencFailsWithoutATrackOrItsEntries) {
    EXPECT_EQ(parse(senc(0, 1, counting(8))), -1);
    parse(tfhd(1));
    parse(sizedRun(0, {100, 100}));
    EXPECT_EQ(parse(fullBox("senc", 0, 0, zeros(3))), -1);
    EXPECT_EQ(parse(senc(0, 2, counting(15))), -1);
    EXPECT_EQ(parse(senc(2, 2, counting(9))), -1);
    EXPECT_EQ(parse(senc(2, 2, counting(8) + u16(0xFFFF) + zeros(60))), -1);
    EXPECT_EQ(track().auxResolved, kNone);
}

TEST_F(Fragment, SencFailsForAnIvThatNoRecordHolds) {
    addTrack(3, 17);
    parse(tfhd(3));
    parse(sizedRun(0, {100}));
    EXPECT_EQ(parse(senc(0, 1, zeros(100))), -1);
}

TEST_F(Fragment, SencAfterAFailedOneStillHasItsSubsamplesInPlace) {
    parse(tfhd(1));
    parse(sizedRun(0, {100, 100}));
    const Bytes one = counting(8) + u16(1) + subsample(1, 2);
    EXPECT_GT(parse(senc(2, 2, one + one)), 0);
    EXPECT_EQ(parse(senc(2, 2, one + counting(8))), -1);
    EXPECT_THAT(subsamples(0), ElementsAre(Pair(1, 2)));
    subsamples(1); // throws when it points outside
}

TEST_F(Fragment, SaizBehindSencLeavesItResolved) {
    parse(tfhd(1));
    parse(sizedRun(0, {100}));
    parse(senc(0, 1, counting(8)));
    EXPECT_EQ(parse(saiz(8, 1)), 17);
    EXPECT_EQ(track().auxResolved, kResolved);
}

// --- the whole fragment --------------------------------------------------------------------------

TEST_F(Fragment, WalkReadsEveryTrack) {
    const Bytes first = box("traf", tfhd(1) + fullBox("tfdt", 1, 0, zeros(8)) + sizedRun(0, {100}) +
                                        senc(0, 1, counting(8)));
    const Bytes second = box("traf", tfhd(2) + sizedRun(0, {1, 2, 3}));
    const ExactBytes bytes(box("moof", fullBox("mfhd", 0, 0, u32(1)) + first + second));
    EXPECT_EQ(walk(bytes), static_cast<int>(bytes.size()));
    ASSERT_EQ(content.getMoofTracks().size(), 2U);
    EXPECT_EQ(content.getMoofTracks().front().auxResolved, kResolved);
    EXPECT_THAT(sizes(), ElementsAre(1, 2, 3));
    EXPECT_EQ(track().auxResolved, kNone) << "a clear track is no failure";
}

TEST_F(Fragment, WalkForgetsTheFragmentBefore) {
    walk(box("moof", box("traf", tfhd(1) + sizedRun(0, {1, 2}))));
    walk(box("moof", box("traf", tfhd(2) + sizedRun(0, {3}))));
    ASSERT_EQ(content.getMoofTracks().size(), 1U);
    EXPECT_EQ(track().trackId, 2U);
    EXPECT_THAT(sizes(), ElementsAre(3));
    EXPECT_EQ(content.getTracks().size(), 2U) << "tracks stay";
}

TEST_F(Fragment, WalkFailsWhenNoTrackIsKnown) {
    EXPECT_EQ(walk(box("moof")), -1);
    EXPECT_EQ(walk(box("moof", box("traf", tfhd(9) + sizedRun(0, {1})))), -1);
}

TEST_F(Fragment, WalkReturnsTheFirstFailure) {
    const Bytes good = box("traf", tfhd(1));
    EXPECT_EQ(walk(box("moof", good + box("traf", fullBox("trun", 0, 0, zeros(3))))), -1);
    EXPECT_EQ(walk(box("moof", good + sizedBox(9, "free"))), -1);
    EXPECT_EQ(walk(box("moof", good + sizedBox(7, "free"))), -1);
    EXPECT_EQ(walk(box("moof", good + zeros(7))), -1);
    EXPECT_EQ(walk(box("moof", good + box("traf", sizedBox(17, "xxxx", zeros(8))))), -1);
}

TEST_F(Fragment, WalkTakesNothingForATrackFragmentWithoutAHeader) {
    EXPECT_EQ(
        walk(box("moof", box("traf", tfhd(1) + sizedRun(0, {1})) + box("traf", sizedRun(0, {2})))),
        8 + 8 + 16 + 24 + 8 + 24);
    EXPECT_THAT(sizes(), ElementsAre(1));
    EXPECT_EQ(walk(box("moof", box("traf", tfhd(1) + sizedRun(0, {1})) +
                                   box("traf", senc(0, 1, counting(8))))),
              -1);
}

TEST_F(Fragment, WalkKeepsThePsshOfAFragment) {
    walk(box("moof", box("traf", tfhd(1)) + pssh(counting(16), text("rotated"))));
    EXPECT_EQ(content.getKeptPssh(), "rotated");
}

TEST_F(Fragment, WalkReadsBoxesInAnyOrder) {
    const Bytes aux = saiz(8, 1) + senc(0, 1, counting(8));
    const Bytes bytes = box("moof", box("traf", tfhd(1) + aux + sizedRun(0, {100})));
    EXPECT_EQ(walk(bytes), static_cast<int>(bytes.size()));
    EXPECT_EQ(iv(0), counting(8));
    EXPECT_THAT(auxSizes(), ElementsAre(8));
}

TEST_F(Fragment, WalkTakesNoInformationBeforeAnyTrackIsNamed) {
    const Bytes run = sizedRun(0, {100});
    const Bytes early[] = {saiz(8, 1), saio({0}), senc(0, 1, counting(8))};
    for (const Bytes& aux : early) {
        EXPECT_EQ(walk(box("moof", box("traf", aux + tfhd(1) + run))), -1);
        EXPECT_EQ(walk(box("moof", box("traf", tfhd(9)) + box("traf", aux + tfhd(1) + run))), -1);
    }
    const Bytes second = box("traf", early[2] + tfhd(1) + run);
    EXPECT_GT(walk(box("moof", box("traf", tfhd(1)) + second)), 0);
    EXPECT_EQ(iv(0), counting(8));
}

// --- auxiliary data at offsets -------------------------------------------------------------------

/// IVs that are known from `saiz` and `saio` only, in a box of another type.
class Binding : public Fragment {
protected:
    /// The samples of each run have a size of 1.
    static Bytes moof(const Bytes& sizesBox, const Bytes& data,
                      const std::vector<unsigned int>& runs,
                      const std::vector<int>& offsetsInData) {
        Bytes fragment = tfhd(1);
        for (const unsigned int run : runs)
            fragment = fragment + sizedRun(0, std::vector<unsigned int>(run, 1));
        const size_t head =
            8 + 8 + fragment.size() + sizesBox.size() + 16 + 4 * offsetsInData.size() + 8;
        std::vector<unsigned int> offsets;
        for (const int offset : offsetsInData)
            offsets.push_back(static_cast<unsigned int>(static_cast<int>(head) + offset));
        return box("moof", box("traf", fragment + sizesBox + saio(offsets) + box("uuid", data)));
    }
};

const Bytes kRecord = counting(8, 1) + u16(1) + subsample(5, 6);

TEST_F(Binding, ReadsRecordsOneBehindAnother) {
    const Bytes data = kRecord + counting(8, 0x50) + kRecord;
    const Bytes bytes = moof(saiz(0, 3, {16, 8, 16}), data, {3}, {0});
    EXPECT_EQ(walk(bytes), static_cast<int>(bytes.size()));
    EXPECT_EQ(track().auxResolved, kResolved);
    EXPECT_EQ(iv(0), counting(8, 1));
    EXPECT_THAT(subsamples(0), ElementsAre(Pair(5, 6)));
    EXPECT_EQ(iv(1), counting(8, 0x50));
    EXPECT_THAT(subsamples(1), IsEmpty()) << "as long as its IV";
    EXPECT_THAT(subsamples(2), ElementsAre(Pair(5, 6)));
}

TEST_F(Binding, PassesOverSamplesWithoutInformation) {
    const Bytes data = counting(8, 1) + counting(8, 0x50);
    EXPECT_GT(walk(moof(saiz(0, 3, {8, 0, 8}), data, {3}, {0})), 0);
    EXPECT_EQ(iv(1), Bytes());
    EXPECT_EQ(iv(2), counting(8, 0x50));
}

TEST_F(Binding, TakesOneOffsetForAllRuns) {
    EXPECT_GT(walk(moof(saiz(8, 3), counting(24), {1, 2}, {0})), 0);
    EXPECT_EQ(iv(2), counting(8, 16));
}

TEST_F(Binding, TakesAnOffsetForEachRun) {
    EXPECT_GT(walk(moof(saiz(8, 3), counting(40), {1, 2}, {24, 1})), 0);
    EXPECT_EQ(iv(0), counting(8, 24));
    EXPECT_EQ(iv(1), counting(8, 1));
    EXPECT_EQ(iv(2), counting(8, 9));
}

TEST_F(Binding, ReadsOffsetsOf64Bits) {
    const Bytes head = tfhd(1) + sizedRun(0, {1}) + saiz(8, 1);
    const Bytes bytes =
        box("moof", box("traf", head + fullBox("saio", 1, 0, u32(1) + u64(16 + 65 + 24 + 8)) +
                                    box("uuid", counting(8))));
    ASSERT_EQ(head.size(), 16U + 24 + 17);
    const size_t at = find(bytes, counting(8));
    EXPECT_GT(walk(patched(bytes, find(bytes, text("saio")) + 12, u64(at))), 0);
    EXPECT_EQ(iv(0), counting(8));
    EXPECT_EQ(walk(patched(bytes, find(bytes, text("saio")) + 12, u64(at | 1ULL << 32))), -1);
}

TEST_F(Binding, FailsOutsideTheMoof) {
    const Bytes size = saiz(8, 2);
    EXPECT_GT(walk(moof(size, counting(16), {2}, {0})), 0);
    EXPECT_EQ(walk(moof(size, counting(16), {2}, {1})), -1) << "the last record reaches beyond";
    EXPECT_EQ(walk(moof(size, counting(16), {2}, {17})), -1);
    EXPECT_EQ(walk(moof(size, counting(16), {2}, {1 << 30})), -1);
    EXPECT_EQ(track().auxResolved, kUnresolved);
}

TEST_F(Binding, FailsForOffsetsThatDoNotFitTheRuns) {
    EXPECT_EQ(walk(moof(saiz(8, 3), counting(40), {1, 1, 1}, {0, 0})), -1);
    EXPECT_EQ(walk(moof(saiz(8, 1), counting(40), {1}, {0, 0})), -1);
    EXPECT_EQ(walk(moof(saiz(8, 1), counting(40), {1}, {})), -1);
}

TEST_F(Binding, FailsWithoutOffsets) {
    EXPECT_EQ(walk(box("moof", box("traf", tfhd(1) + sizedRun(0, {1}) + saiz(8, 1)))), -1);
}

TEST_F(Binding, WithoutInformationOrSamplesNeedsNoOffsets) {
    EXPECT_GT(walk(box("moof", box("traf", tfhd(1) + sizedRun(0, {1}) + saiz(0, 1, {0})))), 0);
    EXPECT_GT(walk(box("moof", box("traf", tfhd(1) + saiz(8, 0)))), 0);
    EXPECT_EQ(track().auxResolved, kResolved);
}

TEST_F(Binding, FailsForRecordsThatDoNotFitTheirSizes) {
    EXPECT_EQ(walk(moof(saiz(7, 1), counting(40), {1}, {0})), -1) << "shorter than the IV";
    EXPECT_EQ(walk(moof(saiz(9, 1), counting(40), {1}, {0})), -1) << "half a count";
    EXPECT_EQ(walk(moof(saiz(16, 1), counting(8) + u16(2) + zeros(30), {1}, {0})), -1);
    EXPECT_GT(walk(moof(saiz(10, 1), counting(8) + u16(0), {1}, {0})), 0) << "no subsamples";
}

TEST_F(Binding, BindsTheTrackBeforeAtTheNextHeader) {
    const Bytes open = tfhd(1) + sizedRun(0, {1}) + saiz(8, 1);
    const Bytes next = box("traf", tfhd(2) + sizedRun(0, {1}));
    EXPECT_EQ(walk(box("moof", box("traf", open) + next)), -1);
    EXPECT_EQ(content.getMoofTracks().size(), 1U) << "it ends there";
    const Bytes good = box("traf", open + saio({16}));
    EXPECT_GT(walk(box("moof", good + next)), 0);
    EXPECT_EQ(content.getMoofTracks().front().auxResolved, kResolved);
    EXPECT_EQ(content.getMoofTracks().front().samples[0].iv[3], 16) << "the size of its tfhd";
}

TEST_F(Binding, OfARecordByHandIsChecked) {
    const ExactBytes bytes(counting(16));
    CCENCMediaContent empty;
    EXPECT_EQ(empty.getAuxiliaryDataFormat(bytes.data(), bytes.size()), -1);
    MOOF_TRACK_FORMAT record;
    record.trackId = 1;
    record.samples.resize(1);
    record.samples[0].auxSize = 8;
    record.saioCount = 2;
    record.saioOffsets = {0, 0};
    record.runSampleCounts = {1, 1000};
    content.addMoofTrackData(record);
    EXPECT_EQ(content.getAuxiliaryDataFormat(bytes.data(), bytes.size()), -1);
    record.saioCount = 1;
    record.saioOffsets = {};
    content.addMoofTrackData(record);
    EXPECT_EQ(content.getAuxiliaryDataFormat(bytes.data(), bytes.size()), -1);
    record.saioOffsets = {8};
    content.addMoofTrackData(record);
    EXPECT_EQ(content.getAuxiliaryDataFormat(bytes.data(), bytes.size()), 1);
    EXPECT_EQ(iv(0), counting(8, 8));
}

TEST_F(Fragment, WalkStopsAtMoreTracksThanAnyFileHas) {
    Bytes fragments;
    for (int i = 0; i < 1001; ++i)
        fragments = fragments + box("traf", tfhd(1));
    EXPECT_EQ(walk(box("moof", fragments)), -1);
    EXPECT_EQ(content.getMoofTracks().size(), 1000U);
}

} // namespace
