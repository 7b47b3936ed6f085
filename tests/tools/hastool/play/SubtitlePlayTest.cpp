#include <tools/hastool/VirtualPlay.h>

#include <hastool/play/SubtitleWriter.h>
#include <support/TempDir.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::subtitleOutput;
using test::VirtualPlay;

namespace {

/// A presentation with subtitles of 2 s segments, each with one cue, whose text is its number.
class SubtitledPlay : public VirtualPlay {
public:
    explicit SubtitledPlay(int count) {
        addVideo({300000}, count);
        texts[kBase + "master.m3u8"] =
            "#EXTM3U\n#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"English\","
            "LANGUAGE=\"en\",URI=\"s.m3u8\"\n"
            "#EXT-X-STREAM-INF:BANDWIDTH=300000,SUBTITLES=\"s\"\nv0.m3u8\n";
        texts[kBase + "s.m3u8"] = mediaPlaylist("s", 0, count, true);
        for (int i = 0; i < count; ++i)
            setSegment(i, cue(i));
        options.renditions.subtitles = "en";
        options.output = m_dir.file("film.ts");
    }

    static std::string cue(int number) {
        const std::string second = (number * 2 < 10 ? "0" : "") + std::to_string(number * 2);
        return "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:0\n\n00:00:" + second +
               ".000 --> 00:00:" + second + ".500\n" + std::to_string(number) + "\n";
    }
    void setSegment(int number, const std::string& text) {
        texts[kBase + "s/" + std::to_string(number) + ".ts"] = text;
    }
    /// The texts of the cues that were written.
    std::vector<int> cues() const {
        std::vector<int> result;
        const auto document = hastool::parseWebVtt(vtt());
        if (!document)
            return {-1};
        for (const hastool::VttCue& cue : document->cues)
            result.push_back(std::stoi(cue.text));
        return result;
    }
    std::string vtt() const { return test::readFile(m_dir.file("film.en.vtt")); }
    size_t count(bool isText) const {
        return static_cast<size_t>(std::count_if(
            rows.begin(), rows.end(), [&](const auto& row) { return row.isText == isText; }));
    }

    const test::TempDir m_dir;
};

std::vector<int> upTo(int count) {
    std::vector<int> all(static_cast<size_t>(count));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

VirtualPlay::Answer failing(const std::string& failure) {
    VirtualPlay::Answer answer;
    answer.failure = failure;
    return answer;
}

} // namespace

TEST(SubtitlePlay, WritesTheCuesBesideTheMedia) {
    for (const bool isFast : {false, true}) {
        SubtitledPlay play(20);
        play.options.fast = isFast;
        EXPECT_EQ(play.play(), "");
        EXPECT_EQ(play.cues(), upTo(20));
        EXPECT_EQ(play.vtt().find("WEBVTT", 1), std::string::npos);
        EXPECT_EQ(play.vtt().find("TIMESTAMP"), std::string::npos);
        EXPECT_EQ(play.summary.subtitles, 20U);
        EXPECT_EQ(play.summary.segments, 20U) << "those of audio and video";
        EXPECT_EQ(play.count(true), 20U);
        EXPECT_EQ(play.summary.subtitleOutput, play.m_dir.file("film.en.vtt"));
        EXPECT_EQ(play.troubles, std::vector<std::string>());
        EXPECT_EQ(play.summary.stalls, 0);
    }
}

TEST(SubtitlePlay, FetchesNoneThatAreNotWanted) {
    SubtitledPlay play(5);
    play.options.renditions.subtitles.clear();
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.requestsFor("s.m3u8"), 0);
    EXPECT_FALSE(std::filesystem::exists(play.m_dir.file("film.en.vtt")));
}

TEST(SubtitlePlay, StaysWithinTheBuffer) {
    SubtitledPlay play(30);
    play.options.bufferGoal = 10s;
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.cues(), upTo(30));
    for (int i = 8; i < 30; ++i)
        EXPECT_GT(play.askedAt("s/" + std::to_string(i) + ".ts").value(), 2.0 * i - 10.1) << i;
}

/// What audio and video do must be the same as without them.
TEST(SubtitlePlay, SegmentsThatAreMissingHoldNothingUp) {
    SubtitledPlay plain(20);
    plain.options.renditions.subtitles.clear();
    EXPECT_EQ(plain.play(), "");
    SubtitledPlay play(20);
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name == "s/3.ts" || name == "s/4.ts" || name == "s/5.ts" || name == "s/6.ts")
            return failing("HTTP 404");
        return std::nullopt;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.cues().size(), 16U);
    EXPECT_EQ(play.summary.subtitlesSkipped, 4U);
    EXPECT_EQ(play.summary.skipped, 0U);
    ASSERT_EQ(play.troubles.size(), 4U);
    EXPECT_EQ(play.troubles[0], "http://line/s/3.ts: subtitles: HTTP 404; left out");
    EXPECT_NEAR(play.summary.wallTime, plain.summary.wallTime, 0.1);
    EXPECT_EQ(play.summary.stalls, 0);
}

TEST(SubtitlePlay, PagesInPlaceOfSegmentsAreLeftOut) {
    SubtitledPlay play(20);
    for (int i = 0; i < 15; ++i)
        play.setSegment(i, "<html><body>not here</body></html>");
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.cues(), (std::vector<int>{15, 16, 17, 18, 19}));
    ASSERT_EQ(play.troubles.size(), 11U) << "no more are told";
    EXPECT_EQ(play.troubles[0], "http://line/s/0.ts: subtitles: neither WebVTT nor TTML; left out");
}

TEST(SubtitlePlay, APlaylistThatCannotBeHadEndsOnlyTheSubtitles) {
    SubtitledPlay play(10);
    play.texts.erase(VirtualPlay::kBase + "s.m3u8");
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.segments, 10U);
    ASSERT_EQ(play.troubles.size(), 1U);
    EXPECT_EQ(play.troubles[0], "http://line/s.m3u8: HTTP 404; there are no more subtitles");
}

TEST(SubtitlePlay, AreNotWaitedForWithoutEnd) {
    SubtitledPlay play(10);
    play.options.liveTimeout = 5s;
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "s/5.ts")
            return std::nullopt;
        VirtualPlay::Answer slow;
        slow.bytes = "WEBVTT\n";
        slow.delay = 3600s;
        return slow;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.cues(), upTo(5));
    EXPECT_LT(play.summary.wallTime, 30);
    EXPECT_EQ(play.summary.stalls, 0);
}

TEST(SubtitlePlay, EndWithTheTimeThatIsAskedForWhateverTheirSegments) {
    SubtitledPlay play(10);
    play.options.duration = 5;
    play.texts[VirtualPlay::kBase + "s.m3u8"] =
        "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\ns/0.ts\n#EXTINF:5,\ns/1.ts\n"
        "#EXT-X-ENDLIST\n";
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.cues(), upTo(1));
    EXPECT_LT(play.summary.wallTime, 10);
}

TEST(SubtitlePlay, GoesOnWithALivePlaylist) {
    SubtitledPlay play(30);
    play.options.duration = 30;
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "v0.m3u8" && name != "s.m3u8")
            return std::nullopt;
        VirtualPlay::Answer answer;
        const std::string folder = name.substr(0, name.find('.'));
        answer.bytes =
            VirtualPlay::mediaPlaylist(folder, static_cast<int>(play.seconds() / 2), 5, false);
        return answer;
    };
    EXPECT_EQ(play.play(), "");
    std::vector<int> expected = upTo(17); // joined three segments before the end of five
    expected.erase(expected.begin(), expected.begin() + 2);
    EXPECT_EQ(play.cues(), expected);
    EXPECT_EQ(play.troubles, std::vector<std::string>());
}

TEST(SubtitlePlay, SaysWhichSubtitlesThereAre) {
    SubtitledPlay play(2);
    play.options.renditions.subtitles = "fr";
    EXPECT_EQ(play.play(),
              "--subtitles: no such rendition: \"fr\"; there are \"en\" (\"English\")");
}

TEST(SubtitleOutput, TakesOnlyAPlainTagIntoAFileName) {
    EXPECT_EQ(subtitleOutput("d.x/film.ts", "en-GB", "vtt"), "d.x/film.en-GB.vtt");
    EXPECT_EQ(subtitleOutput("d.x/film", "en", "ttml"), "d.x/film.en.ttml");
    for (const char* const bad : {"", "../../etc/x", "a b", "en\n", "a.b"})
        EXPECT_EQ(subtitleOutput("film.ts", bad, "vtt"), "film.subtitles.vtt") << bad;
    EXPECT_EQ(subtitleOutput("film.ts", std::string(36, 'a'), "vtt"), "film.subtitles.vtt");
}
