// The walk over an initialisation segment: classification, and the boxes of a `moov`.
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
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

unsigned int fourCC(const std::string& type) {
    return readU32(text(type), 0);
}

/// A walker that takes boxes by their own type.
struct Walker : CCENCMediaContent {
    int parse(const ExactBytes& bytes) {
        const Bytes copy = bytes.copy();
        return parsingBox(fourCC(typeAt(copy, 0)), bytes.data(), bytes.size());
    }
    int parse(const Bytes& bytes) { return parse(ExactBytes(bytes)); }
    long long walk(const ExactBytes& bytes) { return walkBoxes(bytes.data(), bytes.size()); }
    long long walk(const Bytes& bytes) { return walk(ExactBytes(bytes)); }
    void addTrack(unsigned int id = 1) {
        TRACK_FORMAT track;
        track.trackId = id;
        addTrackData(track);
    }
};

TEST(BoxParsingMode, FollowsTheTable) {
    CCENCMediaContent content;
    const std::vector<std::vector<std::string>> table = {
        {"trak", "traf", "mdia", "minf", "stbl", "schi", "mvex"},
        {"moov", "stsd", "sinf", "encv", "enca"},
        {"tkhd", "hdlr", "leva", "frma", "tenc", "pssh", "moof", "tfhd", "trun", "saiz", "saio",
         "senc"},
        {"mdat"},
        {"udta", "free", "ftyp", "mp4a", "avc1", "uuid", "TRAK", "traK"},
    };
    for (size_t i = 0; i < table.size(); ++i) {
        for (const std::string& type : table[i])
            EXPECT_EQ(content.getBoxParsingMode(fourCC(type)), static_cast<int>(i + 1)) << type;
    }
}

TEST(BoxFields, AreReadAndWrittenBigEndianInPlace) {
    CCENCMediaContent content;
    const ExactBytes bytes(counting(12));
    content.updataBoxSize(bytes.data(), 0x01020304);
    content.updateBoxType(bytes.data(), fourCC("free"));
    content.updateAttributeValue(bytes.data() + 8, 0xF0E0D0C0);
    EXPECT_EQ(bytes.copy(), u32(0x01020304) + text("free") + u32(0xF0E0D0C0));
    EXPECT_EQ(content.getAttributeValue(bytes.data() + 8), 0xF0E0D0C0);
    EXPECT_EQ(content.getAttributeValue(bytes.data() + 1), 0x02030466U) << "at any alignment";
}

TEST(MoovBox, IsSteppedIntoAndClearsTheTracks) {
    Walker walker;
    walker.addTrack();
    walker.parse(pssh(counting(16), text("old")));
    const LogCapture log;
    EXPECT_EQ(walker.parse(box("moov", zeros(4))), 8);
    EXPECT_TRUE(walker.getTracks().empty());
    EXPECT_EQ(walker.getKeptPssh(), "");
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"), ElementsAre(">> moov box parsing"));
}

TEST(TkhdBox, GivesTheTrackIdOfVersionZero) {
    Walker walker;
    const Bytes bytes = tkhd(0x01020304);
    ASSERT_EQ(bytes.size(), 92U);
    EXPECT_EQ(walker.parse(bytes), 92);
    ASSERT_EQ(walker.getTracks().size(), 1U);
    const TRACK_FORMAT& track = walker.getTracks().back();
    EXPECT_EQ(track.trackId, 0x01020304U);
    EXPECT_EQ(track.handlerType, 0U);
    EXPECT_EQ(track.encrypted, 0U);
}

TEST(TkhdBox, GivesTheTrackIdOfVersionOne) {
    Walker walker;
    const Bytes bytes = tkhd(77, 1);
    ASSERT_EQ(bytes.size(), 104U);
    EXPECT_EQ(walker.parse(bytes), 104);
    EXPECT_EQ(walker.getTracks().back().trackId, 77U);
}

TEST(TkhdBox, FailsForOtherVersions) {
    Walker walker;
    for (const unsigned int version : {2U, 255U})
        EXPECT_EQ(walker.parse(tkhd(1, version)), -1);
    EXPECT_EQ(walker.walk(box("moov", box("trak", tkhd(1, 2)))), -1);
    EXPECT_TRUE(walker.getTracks().empty());
}

TEST(TkhdBox, FailsWhenItIsTooShort) {
    Walker walker;
    EXPECT_EQ(walker.parse(box("tkhd")), -1);
    EXPECT_EQ(walker.parse(fullBox("tkhd", 0, 0, zeros(11))), -1);
    EXPECT_EQ(walker.parse(fullBox("tkhd", 1, 0, zeros(19))), -1);
    EXPECT_TRUE(walker.getTracks().empty());
    EXPECT_EQ(walker.parse(fullBox("tkhd", 0, 0, zeros(12))), 92) << "all that is read is there";
}

TEST(TkhdBox, AppendsTracksInOrderOfAppearance) {
    Walker walker;
    for (const unsigned int id : {5U, 3U, 5U})
        walker.parse(tkhd(id));
    std::vector<unsigned int> ids;
    for (const TRACK_FORMAT& track : walker.getTracks())
        ids.push_back(track.trackId);
    EXPECT_THAT(ids, ElementsAre(5U, 3U, 5U));
}

TEST(TkhdBox, StopsAtMoreTracksThanAnyFileHas) {
    Walker walker;
    Bytes traks;
    for (unsigned int i = 0; i < 1001; ++i)
        traks = traks + fullBox("tkhd", 0, 0, zeros(12));
    EXPECT_EQ(walker.walk(box("moov", traks)), -1);
    EXPECT_EQ(walker.getTracks().size(), 1000U);
}

TEST(HdlrBox, SetsTheHandlerOfTheLastTrack) {
    Walker walker;
    walker.addTrack(1);
    walker.addTrack(2);
    const Bytes bytes = hdlr("soun");
    EXPECT_EQ(walker.parse(bytes), static_cast<int>(bytes.size()));
    EXPECT_EQ(walker.getTracks().front().handlerType, 0U);
    EXPECT_EQ(walker.getTracks().back().handlerType, fourCC("soun"));
}

TEST(HdlrBox, FailsWithoutATrackOrItsField) {
    Walker walker;
    EXPECT_EQ(walker.parse(hdlr("vide")), -1);
    walker.addTrack();
    EXPECT_EQ(walker.parse(fullBox("hdlr", 0, 0, zeros(7))), -1);
}

TEST(StsdBox, EndsAtItsFirstEntryAndClearsTheSampleEntry) {
    Walker walker;
    const ExactBytes entry(encv({}));
    walker.parse(entry);
    EXPECT_EQ(walker.parse(stsd({})), 16);
    EXPECT_EQ(walker.parse(frma("avc1")), -1);
    EXPECT_EQ(walker.parse(fullBox("stsd", 0, 0, zeros(3))), -1);
}

TEST(SampleEntryBox, EndsAtItsFirstChild) {
    Walker walker;
    const ExactBytes video(encv({}));
    const ExactBytes audio(enca({}));
    EXPECT_EQ(walker.parse(video), 86);
    EXPECT_EQ(walker.parse(audio), 36);
    EXPECT_EQ(walker.parse(box("encv", zeros(77))), -1);
    EXPECT_EQ(walker.parse(box("enca", zeros(27))), -1);
}

TEST(FrmaBox, GivesTheSampleEntryItsFormatBack) {
    Walker walker;
    const ExactBytes entry(encv({}));
    walker.parse(entry);
    EXPECT_EQ(walker.parse(frma("hvc1")), 12);
    EXPECT_EQ(typeAt(entry.copy(), 0), "hvc1");
}

TEST(FrmaBox, FailsWithoutASampleEntryOrItsField) {
    Walker walker;
    EXPECT_EQ(walker.parse(frma("avc1")), -1);
    const ExactBytes entry(enca({}));
    walker.parse(entry);
    EXPECT_EQ(walker.parse(box("frma", zeros(3))), -1);
    EXPECT_EQ(typeAt(entry.copy(), 0), "enca");
}

TEST(SinfBox, IsRetypedAndSteppedInto) {
    Walker walker;
    const ExactBytes bytes(box("sinf", zeros(8)));
    EXPECT_EQ(walker.parse(bytes), 8);
    EXPECT_EQ(bytes.copy(), box("free", zeros(8)));
}

TEST(TencBox, DescribesTheLastTrack) {
    Walker walker;
    walker.addTrack(1);
    walker.addTrack(2);
    EXPECT_EQ(walker.parse(tenc(0x019A01, 8, counting(16, 0x40))), 32);
    const TRACK_FORMAT& track = walker.getTracks().back();
    EXPECT_EQ(track.defaultIsProtected, 0x019A01U) << "all 24 bits, the pattern among them";
    EXPECT_EQ(track.perSampleIvSize, 8);
    EXPECT_THAT(track.defaultKid, ElementsAreArray(counting(16, 0x40)));
    EXPECT_EQ(track.encrypted, 1U);
    EXPECT_EQ(walker.getTracks().front().encrypted, 0U);
}

TEST(TencBox, FailsWithoutATrackOrItsFields) {
    Walker walker;
    EXPECT_EQ(walker.parse(tenc(1, 8, zeros(16))), -1);
    walker.addTrack();
    EXPECT_EQ(walker.parse(tenc(1, 8, zeros(15))), -1);
    EXPECT_EQ(walker.getTracks().back().encrypted, 0U);
}

TEST(PsshBoxWalk, ReplacesTheKeptData) {
    Walker walker;
    const LogCapture log;
    EXPECT_EQ(walker.parse(pssh(counting(16), text("first"))), 37);
    EXPECT_EQ(walker.parse(pssh(counting(16, 0x80), text("second"))), 38);
    EXPECT_EQ(walker.getKeptPssh(), "second");
    EXPECT_EQ(walker.getKeptSystemID()[0], '\x80');
    EXPECT_THAT(log.messages("CCENCMediaContent.cpp"), Each("psshBoxParsing-pBoxData"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(PsshBoxWalk, WithoutDataKeepsWhatWasKept) {
    Walker walker;
    walker.parse(pssh(counting(16), text("kept")));
    EXPECT_EQ(walker.parse(pssh(counting(16, 0x80), {})), 32);
    EXPECT_EQ(walker.getKeptPssh(), "kept");
    EXPECT_EQ(walker.getKeptSystemID()[0], '\0');
}

TEST(PsshBoxWalk, LooksBehindTheKeyIdsOfVersionOne) {
    Walker walker;
    EXPECT_EQ(walker.parse(psshWithKeys(counting(16), 2, text("data"))), 32 + 4 + 32 + 4);
    EXPECT_EQ(walker.getKeptPssh(), "data");
}

TEST(PsshBoxWalk, FailsWhenItsDataIsNotThere) {
    Walker walker;
    const Bytes good = pssh(counting(16), counting(4));
    EXPECT_EQ(walker.parse(patched(good, 28, u32(5))), -1);
    EXPECT_EQ(walker.parse(patched(good, 28, u32(0xFFFFFFFF))), -1);
    EXPECT_EQ(walker.parse(box("pssh", zeros(23))), -1);
    const Bytes keyed = psshWithKeys(counting(16), 1, {});
    EXPECT_EQ(walker.parse(patched(keyed, 28, u32(2))), -1);
    EXPECT_EQ(walker.parse(patched(keyed, 28, u32(0xFFFFFFFF))), -1);
    EXPECT_EQ(walker.getKeptPssh(), "");
}

TEST(PsshBoxWalk, IgnoresWhatFollowsTheData) {
    Walker walker;
    const Bytes good = pssh(counting(16), counting(4));
    EXPECT_EQ(walker.parse(patched(good, 28, u32(2))), 34);
    EXPECT_EQ(walker.getKeptPssh().size(), 2U);
}

TEST(OtherBoxes, AreSteppedIntoOrSkipped) {
    Walker walker;
    EXPECT_EQ(walker.parse(box("trak", zeros(30))), 8);
    EXPECT_EQ(walker.parse(box("leva", zeros(30))), 38);
    EXPECT_EQ(walker.parse(box("udta", zeros(30))), 38);
    EXPECT_EQ(walker.parse(box("mdat", zeros(3))), 11);
}

TEST(ParsingBox, TakesTheTypeItIsTold) {
    Walker walker;
    walker.addTrack();
    const ExactBytes bytes(patched(hdlr("vide"), 4, text("xxxx")));
    EXPECT_EQ(walker.parsingBox(fourCC("hdlr"), bytes.data()), static_cast<int>(bytes.size()));
}

TEST(ParsingBox, FailsForABoxThatClaimsMoreThanThereIs) {
    Walker walker;
    EXPECT_EQ(walker.parse(sizedBox(17, "trak", zeros(8))), -1);
    EXPECT_EQ(walker.parse(sizedBox(0xFFFFFFFF, "trak", zeros(8))), -1);
    EXPECT_EQ(walker.parse(sizedBox(7, "trak", zeros(8))), -1);
    EXPECT_EQ(walker.parse(sizedBox(0, "trak", zeros(8))), -1);
    const ExactBytes cut(Bytes{0, 0, 0, 8});
    EXPECT_EQ(walker.parsingBox(fourCC("trak"), cut.data(), cut.size()), -1);
    EXPECT_EQ(walker.parsingBox(fourCC("trak"), nullptr), -1);
    EXPECT_EQ(walker.parsingBox(fourCC("trak"), nullptr, 8), -1);
}

Bytes twoTracks() {
    const Bytes sound = trak(2, "soun", enca(sinf("mp4a", tenc(1, 16, counting(16, 0x20)))));
    return box("moov", box("mvhd", zeros(100)) + videoTrak(1, 8) + sound +
                           box("mvex", fullBox("trex", 0, 0, zeros(20))) +
                           pssh(counting(16), text("moov")) + box("udta", zeros(5)));
}

TEST(MoovWalk, FindsTheTracksAndTheirEncryption) {
    Walker walker;
    const ExactBytes bytes(box("ftyp", zeros(8)) + twoTracks());
    EXPECT_EQ(walker.walk(bytes), static_cast<long long>(bytes.size()));
    ASSERT_EQ(walker.getTracks().size(), 2U);
    const TRACK_FORMAT& video = walker.getTracks().front();
    EXPECT_EQ(video.trackId, 1U);
    EXPECT_EQ(video.handlerType, fourCC("vide"));
    EXPECT_EQ(video.perSampleIvSize, 8);
    EXPECT_THAT(video.defaultKid, ElementsAreArray(counting(16, 0x10)));
    const TRACK_FORMAT& audio = walker.getTracks().back();
    EXPECT_EQ(audio.trackId, 2U);
    EXPECT_EQ(audio.handlerType, fourCC("soun"));
    EXPECT_EQ(audio.perSampleIvSize, 16);
    EXPECT_EQ(audio.encrypted, 1U);
    EXPECT_EQ(walker.getKeptPssh(), "moov");
}

TEST(MoovWalk, RestoresFormatsAndRetypesSinfOnly) {
    Walker walker;
    const Bytes before = twoTracks();
    const ExactBytes bytes(before);
    walker.walk(bytes);
    Bytes expected = before;
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"encv", "avc1"}, {"enca", "mp4a"}, {"sinf", "free"}, {"sinf", "free"}})
        expected = patched(expected, find(expected, text(from)), text(to));
    EXPECT_EQ(bytes.copy(), expected) << "the boxes inside keep their types";
}

TEST(MoovWalk, SkipsClearSampleEntries) {
    Walker walker;
    const Bytes moov = box("moov", trak(9, "vide", box("avc1", zeros(10) + sizedBox(3, "junk"))));
    EXPECT_EQ(walker.walk(moov), static_cast<long long>(moov.size()));
    EXPECT_EQ(walker.getTracks().back().encrypted, 0U);
}

TEST(MoovWalk, SkipsTheSampleEncryptionOfASampleTable) {
    Walker walker;
    const Bytes table = box("stbl", stsd({}) + senc(0, 0, {}) + saiz(0, 0) + saio({}));
    const ExactBytes moov(box("moov", box("trak", tkhd(1) + table)));
    const Bytes before = moov.copy();
    EXPECT_EQ(walker.walk(moov), static_cast<long long>(moov.size()));
    EXPECT_EQ(moov.copy(), before);
}

TEST(MoovWalk, FailsForAChildBeyondItsParent) {
    const Bytes lies[] = {
        box("trak", sizedBox(9, "free")),
        box("trak", sizedBox(7, "free")),
        box("trak", zeros(7)),
        box("trak", sizedBox(0, "mdat")),
        box("trak", u32(1) + text("mdat") + u64(16)),
        trak(1, "vide", encv(zeros(4))),
        trak(1, "vide", sizedBox(2000, "encv", zeros(78))),
    };
    for (const Bytes& lie : lies) {
        Walker walker;
        EXPECT_EQ(walker.walk(box("moov", lie) + box("free", zeros(5000))), -1);
    }
}

TEST(MoovWalk, FailsWhereTheTracksHeaderIsMissing) {
    Walker walker;
    EXPECT_EQ(walker.walk(box("moov", box("trak", box("mdia", hdlr("vide"))))), -1);
    EXPECT_EQ(walker.walk(box("moov", box("schi", tenc(1, 8, zeros(16))))), -1);
    EXPECT_EQ(walker.walk(box("moov", tkhd(1) + box("sinf", frma("avc1")))), -1);
}

TEST(MoovWalk, KnowsMediaDataOfEverySize) {
    Walker walker;
    const Bytes moov = twoTracks();
    const Bytes bytes = longBox("mdat", counting(20)) + box("mdat", counting(5)) + moov +
                        sizedBox(0, "mdat", counting(30));
    EXPECT_EQ(walker.walk(bytes), static_cast<long long>(bytes.size()));
    EXPECT_EQ(walker.getTracks().size(), 2U);
    EXPECT_EQ(walker.walk(u32(1) + text("mdat") + u64(15)), -1);
    EXPECT_EQ(walker.walk(u32(1) + text("mdat") + u64(17)), -1);
    EXPECT_EQ(walker.walk(u32(1) + text("mdat") + u64(0xFFFFFFFFFFFFFFFFULL)), -1);
    EXPECT_EQ(walker.walk(u32(1) + text("mdat") + u32(0)), -1);
    EXPECT_EQ(walker.walk(longBox("free", counting(20))), -1) << "media data only";
    EXPECT_EQ(walker.walk(sizedBox(0, "free")), -1);
}

TEST(MoovWalk, FailsForABoxThatIsCutAndKeepsWhatCameBefore) {
    Walker walker;
    EXPECT_EQ(walker.walk(twoTracks() + sizedBox(9, "free")), -1);
    EXPECT_EQ(walker.walk(twoTracks() + zeros(7)), -1);
    EXPECT_EQ(walker.getTracks().size(), 2U);
    EXPECT_EQ(walker.walk(Bytes()), 0);
}

TEST(MoovWalk, EndsAtTooMuchNesting) {
    const auto nested = [](const std::string& type, int levels) {
        Bytes bytes;
        for (int i = 0; i < levels; ++i)
            bytes = box(type, bytes);
        return bytes;
    };
    Walker walker;
    EXPECT_EQ(walker.walk(nested("trak", 32)), 32 * 8);
    EXPECT_EQ(walker.walk(nested("trak", 33)), -1);
    for (const char* type : {"trak", "sinf", "traf", "moof", "moov"})
        EXPECT_EQ(walker.walk(nested(type, 2000)), -1) << type;
}

TEST(MoovWalk, NeverWritesToASampleEntryOfEarlierBytes) {
    Walker walker;
    {
        const ExactBytes bytes(box("moov", tkhd(1) + encv({})));
        EXPECT_GT(walker.walk(bytes), 0);
        EXPECT_EQ(walker.parse(bytes.copy()), 8);
        const ExactBytes entry(encv({}));
        EXPECT_EQ(walker.parse(entry), 86);
    }
    EXPECT_EQ(walker.walk(frma("avc1")), -1);
}

} // namespace
