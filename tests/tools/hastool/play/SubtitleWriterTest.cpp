#include <hastool/play/SubtitleWriter.h>

#include <hastool/base/BoxBuilder.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gtest/gtest.h>

using hastool::BoxBuilder;
using hastool::MediaPiece;
using hastool::SubtitleWriter;

namespace {

constexpr char kVtt[] = "WEBVTT\n\n00:01.000 --> 00:02.000\nx\n";

class SubtitleWriterTest : public testing::Test {
protected:
    SubtitleWriter writer(const std::string& output = "film.ts") {
        return {output.empty() ? "" : m_dir.file(output), "en", m_timeline};
    }
    std::string written(const std::string& name) const { return test::readFile(m_dir.file(name)); }

    test::TempDir m_dir;
    hastool::MediaTimeline m_timeline;
};

} // namespace

TEST_F(SubtitleWriterTest, FollowsTheTimesOfThePresentation) {
    MediaPiece main;
    main.start = 8; // where the play joined
    m_timeline.add(main, "", "");
    MediaPiece piece;
    piece.timeOffset = 10; // where the period begins
    SubtitleWriter subtitles = writer();
    EXPECT_EQ(subtitles.write(piece, "", kVtt, 0), "");
    subtitles.commit();
    EXPECT_EQ(written("film.en.vtt"), "WEBVTT\n\n00:00:03.000 --> 00:00:04.000\nx\n");
}

TEST_F(SubtitleWriterTest, JoinsDocumentsOfTtml) {
    SubtitleWriter subtitles = writer();
    EXPECT_EQ(subtitles.write({}, "", "<tt><body><p>1</p></body></tt>", 0), "");
    EXPECT_EQ(subtitles.write({}, "", "<tt><body><p>2</p></body></tt>", 0), "");
    EXPECT_EQ(subtitles.write({}, "", kVtt, 0), "subtitles of another kind than those before");
    EXPECT_FALSE(std::filesystem::exists(m_dir.file("film.en.ttml"))) << "before the end";
    subtitles.commit();
    EXPECT_EQ(written("film.en.ttml"), "<tt><body><p>1</p><p>2</p></body></tt>");
}

TEST_F(SubtitleWriterTest, LeavesTtmlInItsFragments) {
    const std::string init = BoxBuilder().bytes(BoxBuilder().box("trak")).box("moov");
    const std::string media = BoxBuilder().box("moof") + BoxBuilder().bytes("<tt/>").box("mdat");
    SubtitleWriter subtitles = writer();
    EXPECT_EQ(subtitles.write({}, init, media, 0), "");
    EXPECT_EQ(subtitles.write({}, init, media, 0), "");
    EXPECT_EQ(subtitles.write({}, init, "<html>", 0), "not a fragment of MP4");
    EXPECT_EQ(subtitles.write({}, "<html>", media, 0), "not a fragment of MP4");
    subtitles.commit();
    EXPECT_EQ(written("film.en.mp4"), init + media + media);
}

TEST_F(SubtitleWriterTest, WritesNothingWhereThereIsNothingOrNobodyWantsIt) {
    SubtitleWriter empty = writer();
    EXPECT_EQ(empty.write({}, "", "", 0), "");
    EXPECT_EQ(empty.write({}, "", "<html/>", 0), "neither WebVTT nor TTML");
    empty.commit();
    SubtitleWriter unwanted = writer("");
    EXPECT_EQ(unwanted.write({}, "", kVtt, 0), "");
    unwanted.commit();
    EXPECT_EQ(unwanted.path(), "");
    EXPECT_TRUE(std::filesystem::is_empty(m_dir.path()));
}

TEST_F(SubtitleWriterTest, CountsTheBreaksOfTheMediasClock) {
    MediaPiece piece;
    piece.seconds = 4;
    m_timeline.add(piece, "", "no time stamps");
    EXPECT_EQ(m_timeline.clockStart(0), 0);
    EXPECT_EQ(m_timeline.clockStart(7), 0);
    EXPECT_DOUBLE_EQ(m_timeline.start(), 0);
}
