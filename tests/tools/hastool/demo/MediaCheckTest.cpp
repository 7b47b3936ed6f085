#include <hastool/demo/MediaCheck.h>
#include <support/BoxBuilder.h>
#include <support/TempDir.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::DemoMedia;
using namespace test::boxes;

namespace {

const Bytes kPlayReady = {0x9A, 0x04, 0xF0, 0x79, 0x98, 0x40, 0x42, 0x86,
                          0xAB, 0x92, 0xE6, 0x5B, 0xE0, 0x88, 0x5F, 0x95};
const Bytes kOther = counting(16);

std::string asText(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes protection(const Bytes& system = kPlayReady) {
    return pssh(system, text("data"));
}
Bytes moov(const Bytes& more = {}) {
    return box("moov", box("free") + more);
}
Bytes moof(const Bytes& more = {}) {
    return box("moof", more + box("free"));
}
Bytes mdat(const std::string& samples) {
    return box("mdat", text(samples));
}

class MediaCheck : public ::testing::Test {
protected:
    std::string check(DemoMedia media, const Bytes& output,
                      const std::vector<std::string>& segments) const {
        return checkMedia(media, m_dir.write("o", asText(output)), segments);
    }
    std::string check(DemoMedia media, const Bytes& output) const {
        return check(media, output, m_segments);
    }

    test::TempDir m_dir;
    const std::vector<std::string> m_segments = {asText(moof() + mdat("one")),
                                                 asText(moof() + mdat("two"))};
};

} // namespace

TEST_F(MediaCheck, ClearBytesAreThoseOfTheSegments) {
    const std::vector<std::string> segments = {"one", "two"};
    EXPECT_EQ(check(DemoMedia::ClearBytes, text("onetwo"), segments), "");
    EXPECT_EQ(check(DemoMedia::ClearBytes, text("onetxo"), segments),
              "differs from the clear segments at byte 4");
    EXPECT_EQ(check(DemoMedia::ClearBytes, text("onetw"), segments),
              "differs from the clear segments at byte 5");
    EXPECT_EQ(check(DemoMedia::ClearBytes, text("onetwo!"), segments),
              "differs from the clear segments at byte 6");
}

TEST_F(MediaCheck, BoxesHaveAFragmentPerSegment) {
    const Bytes first = moov() + moof() + mdat("a");
    EXPECT_EQ(check(DemoMedia::Boxes, first + moof() + mdat("b")), "");
    EXPECT_EQ(check(DemoMedia::Boxes, first + moov() + moof() + mdat("b")), "");
    EXPECT_EQ(check(DemoMedia::Boxes, first), "1 fragments for 2 segments");
    EXPECT_EQ(check(DemoMedia::Boxes, moof() + mdat("a") + moof() + mdat("b")),
              "2 fragments for 2 segments")
        << "without a movie";
}

TEST_F(MediaCheck, BoxesThatAreNotWholeAreTold) {
    const Bytes good = moov() + moof() + mdat("a") + moof();
    EXPECT_NE(check(DemoMedia::Boxes, good + sizedBox(100, "mdat")), "");
    EXPECT_EQ(check(DemoMedia::Boxes, good + text("xyz")).rfind("offset ", 0), 0U);
}

TEST_F(MediaCheck, ClearBoxesHaveNoPsshData) {
    EXPECT_EQ(check(DemoMedia::Boxes, moov(protection()) + moof() + moof()),
              "PSSH data is not where it belongs");
    EXPECT_EQ(check(DemoMedia::Boxes, moov() + moof(protection()) + moof()),
              "PSSH data is not where it belongs");
    EXPECT_EQ(check(DemoMedia::Boxes, moov() + protection() + moof() + moof()),
              "PSSH data is not where it belongs");
}

TEST_F(MediaCheck, EachFragmentHasItsPsshData) {
    const Bytes fragment = moof(protection());
    const auto media = DemoMedia::PsshInFragments;
    EXPECT_EQ(check(media, moov() + fragment + mdat("one") + fragment + mdat("two")), "");
    for (const Bytes& second : {moof(), moof(protection() + protection()), moof(protection(kOther)),
                                moof(box("traf", protection()))})
        EXPECT_EQ(check(media, moov() + fragment + mdat("one") + second + mdat("two")),
                  "PSSH data is not where it belongs");
    EXPECT_EQ(check(media, moov(protection()) + fragment + mdat("one") + fragment + mdat("two")),
              "PSSH data is not where it belongs");
}

TEST_F(MediaCheck, TheMovieEndsWithItsPsshData) {
    const Bytes fragments = moof() + mdat("one") + moof() + mdat("two");
    const auto media = DemoMedia::PsshInMovie;
    EXPECT_EQ(check(media, moov(protection()) + fragments), "");
    EXPECT_EQ(check(media, moov() + fragments), "PSSH data is not where it belongs");
    EXPECT_EQ(check(media, moov(protection() + box("free")) + fragments),
              "PSSH data is not where it belongs");
    EXPECT_EQ(check(media, moov(protection(kOther)) + fragments),
              "PSSH data is not where it belongs");
    EXPECT_EQ(check(media, moov(protection()) + moof(protection()) + mdat("one") + moof()),
              "PSSH data is not where it belongs");
}

TEST_F(MediaCheck, ProtectedSamplesAreThoseOfTheSegments) {
    EXPECT_EQ(check(DemoMedia::PsshInMovie,
                    moov(protection()) + moof() + mdat("one") + moof() + mdat("tvo")),
              "the samples differ from the segments'");
    EXPECT_EQ(check(DemoMedia::PsshInFragments,
                    moov() + moof(protection()) + mdat("one") + moof(protection())),
              "the samples differ from the segments'");
}
