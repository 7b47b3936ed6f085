#include <tools/hastool/ErrorOf.h>

#include <hastool/demo/SourceMedia.h>
#include <support/TempDir.h>

#include <gmock/gmock.h>

using hastool::SourceMedia;
using hastool::TraceRow;
using test::errorOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TraceRow row(size_t stream, bool isAudio = false, bool skipped = false) {
    TraceRow result;
    result.stream = stream;
    result.isAudio = isAudio;
    result.skipped = skipped;
    return result;
}

class SourceMediaTest : public ::testing::Test {
protected:
    void writeHls() const {
        m_dir.write("m.m3u8", "#EXTM3U\n"
                              "#EXT-X-STREAM-INF:BANDWIDTH=2\nhigh/i.m3u8\n"
                              "#EXT-X-STREAM-INF:BANDWIDTH=1\nlow%20one/i.m3u8\n");
        for (const char* const folder : {"high", "low one"}) {
            m_dir.write(std::string(folder) + "/i.m3u8",
                        "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n1.ts\n#EXTINF:1,\n2.ts\n"
                        "#EXT-X-ENDLIST\n");
            for (const char* const name : {"1", "2"})
                m_dir.write(std::string(folder) + "/" + name + ".ts",
                            std::string(folder) + " " + name);
        }
    }

    test::TempDir m_dir;
};

} // namespace

TEST_F(SourceMediaTest, GivesTheSegmentsOfTheStreamsThatWereChosen) {
    writeHls();
    const SourceMedia source(m_dir.path(), "m.m3u8");
    EXPECT_THAT(source.segments({row(0), row(1)}, false), ElementsAre("low one 1", "high 2"));
    EXPECT_THAT(source.segments({row(1), row(1)}, false), ElementsAre("high 1", "high 2"));
    EXPECT_THAT(source.segments({}, false), IsEmpty());
}

TEST_F(SourceMediaTest, LeavesOutWhatWasSkipped) {
    writeHls();
    const SourceMedia source(m_dir.path(), "m.m3u8");
    EXPECT_THAT(source.segments({row(0, false, true), row(0)}, false), ElementsAre("low one 2"));
}

TEST_F(SourceMediaTest, GivesTracksApartAndPartsOfFiles) {
    m_dir.write("m.mpd",
                "<MPD mediaPresentationDuration='PT4S'><Period>"
                "<AdaptationSet contentType='video'><SegmentList duration='2'>"
                "<SegmentURL mediaRange='2-3'/><SegmentURL mediaRange='4-9'/></SegmentList>"
                "<Representation id='v' bandwidth='1'><BaseURL>v.mp4</BaseURL></Representation>"
                "</AdaptationSet><AdaptationSet contentType='audio'>"
                "<SegmentTemplate media='a$Number$' duration='2'/>"
                "<Representation id='a' bandwidth='1'/></AdaptationSet></Period></MPD>");
    m_dir.write("v.mp4", "0123456789");
    m_dir.write("a1", "first");
    m_dir.write("a2", "second");
    const SourceMedia source(m_dir.path(), "m.mpd");
    const std::vector<TraceRow> rows = {row(0), row(0, true), row(0, true), row(0)};
    EXPECT_THAT(source.segments(rows, false), ElementsAre("23", "456789"));
    EXPECT_THAT(source.segments(rows, true), ElementsAre("first", "second"));
}

TEST_F(SourceMediaTest, SaysWhatIsMissing) {
    writeHls();
    const SourceMedia source(m_dir.path(), "m.m3u8");
    EXPECT_EQ(errorOf([&] {
                  source.segments({row(0), row(0), row(0)}, false);
              }),
              "http://folder/m.m3u8: fewer segments than were played");
    std::filesystem::remove(m_dir.file("high/2.ts"));
    EXPECT_EQ(errorOf([&] {
                  source.segments({row(1), row(1)}, false);
              }),
              "http://folder/high/2.ts: no such file");
    EXPECT_EQ(errorOf([&] { SourceMedia(m_dir.path(), "no").segments({row(0)}, false); }),
              "http://folder/no: no such file");
}
