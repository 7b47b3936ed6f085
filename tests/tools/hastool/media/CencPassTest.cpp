#include <tools/hastool/ErrorOf.h>

#include <hastool/media/CencPass.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using hastool::CencContent;
using hastool::changesOf;
using hastool::findPsshBoxes;
using hastool::memoryBlocks;
using hastool::PsshBoxes;
using test::be;
using test::fullBox;
using test::mp4Box;
using test::psshBox;
using test::zeros;

namespace {

constexpr char kPlayReady[] = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
const std::string kPlayReadyId = "\x9A\x04\xF0\x79\x98\x40\x42\x86\xAB\x92\xE6\x5B\xE0\x88\x5F\x95";

std::string movie(const std::string& more = "") {
    return mp4Box("ftyp", "iso6" + be(1)) +
           mp4Box("moov", mp4Box("trak", fullBox("hdlr", 0, 0, be(0) + "vide")) + more);
}

std::string fragment(const std::string& media, const std::string& more = "") {
    const auto moof = [&](size_t offset) {
        return mp4Box("moof", mp4Box("traf", fullBox("tfhd", 0, 0x20000, be(1)) +
                                                 fullBox("trun", 0, 1, be(1) + be(offset))) +
                                  more);
    };
    return moof(moof(0).size() + 8) + mp4Box("mdat", media);
}

std::string pass(const std::string& file, const CencContent& content, size_t chunk = 100) {
    std::string out;
    const auto source = memoryBlocks(file);
    hastool::passThroughHandler(source, "file", findPsshBoxes(source, "file"), content, chunk,
                                [&](const unsigned char* data, size_t size) {
                                    out.append(reinterpret_cast<const char*>(data), size);
                                });
    return out;
}

PsshBoxes boxesOf(const std::string& file) {
    return findPsshBoxes(memoryBlocks(file), "file");
}

std::string textOf(const std::string& before, const std::string& after) {
    return changesOf(boxesOf(before), boxesOf(after)).text();
}

} // namespace

TEST(CencPass, EveryFragmentOfSeparateMediaGetsABox) {
    const std::string file = movie() + fragment("one") + fragment("two");
    const std::string pssh = psshBox(kPlayReadyId, "data");
    const std::string expected = movie() + fragment("one", pssh) + fragment("two", pssh);
    for (const size_t chunk : {1U, 7U, 100U, 10000U})
        EXPECT_EQ(pass(file, {kPlayReady, "ZGF0YQ==", true}, chunk), expected) << chunk;
    EXPECT_EQ(textOf(file, expected), "2 pssh boxes inserted, 0 replaced, 0 neutralised");
}

TEST(CencPass, TheMovieOfMultiplexedMediaGetsABox) {
    const std::string file = movie() + fragment("one");
    const std::string expected = movie(psshBox(kPlayReadyId, "data")) + fragment("one");
    for (const size_t chunk : {1U, 7U, 100U, 10000U})
        EXPECT_EQ(pass(file, {kPlayReady, "ZGF0YQ==", false}, chunk), expected) << chunk;
    EXPECT_EQ(textOf(file, expected), "1 pssh box inserted, 0 replaced, 0 neutralised");
}

TEST(CencPass, TheMoviesBoxOfSeparateMediaIsNeutralisedAndKept) {
    const std::string id(16, 'k');
    const std::string file = movie(psshBox(id, "kept")) + fragment("one");
    const std::string out = pass(file, {kPlayReady, "", true});
    EXPECT_EQ(textOf(file, out), "1 pssh box inserted, 0 replaced, 1 neutralised");
    EXPECT_NE(out.find(psshBox(id, "kept")), std::string::npos);
}

TEST(CencPass, ALargeBoxFitsIntoManySmallFragments) {
    std::string file = movie();
    std::string expected = movie();
    const std::string pssh = psshBox(kPlayReadyId, zeros(30000));
    for (int i = 0; i < 100; ++i) {
        file += fragment("x");
        expected += fragment("x", pssh);
    }
    EXPECT_TRUE(pass(file, {kPlayReady, std::string(40000, 'A'), true}, 1 << 20) == expected);
}

TEST(CencPass, ASchemeWithoutAHandlerIsAnError) {
    EXPECT_EQ(test::errorOf([] {
                  pass(movie(), {"urn:x", "", true});
              }),
              "--scheme-id: no handler for \"urn:x\"");
}

TEST(CencPass, EverySchemeHasItsHandler) {
    for (const char* id : {"urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4",
                           "urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95",
                           "urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df"}) {
        const std::string file = movie() + fragment("one");
        EXPECT_EQ(textOf(file, pass(file, {id, "ZGF0YQ==", false})),
                  "1 pssh box inserted, 0 replaced, 0 neutralised");
    }
    // This scheme names no system, so the handler uses no descriptor and inserts nothing.
    EXPECT_EQ(pass(movie(), {"urn:mpeg:dash:mp4protection:2011", "ZGF0YQ==", false}), movie());
}

TEST(CencPass, ARefusedSegmentIsAnErrorWithItsPlace) {
    const std::string file = movie() + mp4Box("free", zeros(6 << 20));
    EXPECT_EQ(test::errorOf([&] {
                  pass(file, {kPlayReady, "", true}, 1000);
              }),
              "file: offset 0: the handler refuses it");
}

TEST(PsshBoxes, AreFoundWithWhatAnEngineKnows) {
    const PsshBoxes boxes = boxesOf(movie(psshBox(kPlayReadyId, "1234")) + fragment("one"));
    ASSERT_EQ(boxes.parents.size(), 2U);
    EXPECT_EQ(boxes.parents[0].children.back().type, "pssh");
    EXPECT_EQ(boxes.largest, 36U);
    EXPECT_EQ(boxes.tracks, 1U);
    EXPECT_FALSE(boxes.isAudio);
    EXPECT_TRUE(
        boxesOf(mp4Box("moov", mp4Box("trak", fullBox("hdlr", 0, 0, be(0) + "soun")))).isAudio);
}

TEST(PsshBoxes, ParentsAreCountedByTheirPlaces) {
    const PsshBoxes boxes = boxesOf(movie() + fragment("one") + fragment("two"));
    const auto& moof = boxes.parents[1];
    EXPECT_EQ(boxes.parentsIn(0, 1000), 3U);
    EXPECT_EQ(boxes.parentsIn(moof.offset, moof.offset + 1), 1U);
    EXPECT_EQ(boxes.parentsIn(moof.offset + moof.size - 1, moof.offset + moof.size), 1U);
    EXPECT_EQ(boxes.parentsIn(moof.offset + moof.size, moof.offset + moof.size + 5), 0U);
    EXPECT_EQ(boxes.parentsIn(moof.offset, moof.offset), 0U);
}

TEST(PsshBoxes, ReplacementsShowInTheBytes) {
    const std::string before = movie(psshBox(kPlayReadyId, "data"));
    EXPECT_EQ(textOf(before, movie(psshBox(kPlayReadyId, "DATA"))),
              "0 pssh boxes inserted, 1 replaced, 0 neutralised");
    EXPECT_EQ(textOf(before, before), "0 pssh boxes inserted, 0 replaced, 0 neutralised");
}

TEST(PsshBoxes, AFileThatIsNoMp4IsAnError) {
    EXPECT_EQ(test::errorOf([] { boxesOf("no boxes in here"); }), "file: not an MP4 file");
    EXPECT_EQ(test::errorOf([] { boxesOf(""); }), "file: not an MP4 file");
    EXPECT_EQ(test::errorOf([] { boxesOf(mp4Box("free", "x")); }), "file: not an MP4 file");
}

TEST(PsshBoxes, ACutFileIsAnError) {
    const std::string file = movie() + fragment("one");
    EXPECT_EQ(test::errorOf([&] { boxesOf(file.substr(0, file.size() - 1)); }),
              "file: offset 104: box \"mdat\" reaches 1 bytes beyond the file");
}
