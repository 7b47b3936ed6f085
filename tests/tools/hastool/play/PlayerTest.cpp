#include <tools/hastool/VirtualPlay.h>

#include <support/TempDir.h>

#include <algorithm>
#include <ctime>
#include <set>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test::VirtualPlay;

namespace {

/// The processor time that ten minutes of play may take.
#ifdef IS_SANITIZED
constexpr double kMostSeconds = 20;
#else
constexpr double kMostSeconds = 1;
#endif

VirtualPlay::Answer failing(const std::string& failure) {
    VirtualPlay::Answer answer;
    answer.failure = failure;
    return answer;
}

VirtualPlay::Answer text(const std::string& bytes) {
    VirtualPlay::Answer answer;
    answer.bytes = bytes;
    return answer;
}

/// Plays ten minutes over a line that goes up and down. @return the trace
std::string playTenMinutes(const std::string& trace, VirtualPlay& play) {
    play.addVideo({300000, 800000, 1600000, 3000000}, 300);
    play.options.trace = trace;
    const uint64_t rates[] = {1000000, 6000000, 2400000, 500000, 9000000};
    play.line.rates.clear();
    for (int i = 0; i < 24; ++i)
        play.line.rates.push_back({std::chrono::milliseconds(25000) * i, rates[i % 5]});
    EXPECT_EQ(play.play(), "");
    return test::readFile(trace);
}

/// A live playlist of five segments that gets one every two seconds.
std::string livePlaylist(const VirtualPlay& play) {
    return VirtualPlay::mediaPlaylist("v0", static_cast<int>(play.seconds() / 2), 5, false);
}

class LivePlayTest : public testing::Test {
protected:
    LivePlayTest() {
        m_play.addVideo({300000}, 1);
        m_play.special = [this](const std::string& name) -> std::optional<VirtualPlay::Answer> {
            if (name != "v0.m3u8")
                return std::nullopt;
            const double now = m_play.seconds();
            return m_failsFrom <= now && now < m_failsUntil ? failing("HTTP 500")
                                                            : text(livePlaylist(m_play));
        };
    }

    VirtualPlay m_play;
    double m_failsFrom = 1e9;
    double m_failsUntil = 1e9;
};

} // namespace

TEST(Player, PlaysTenMinutesAlikeEveryTime) {
    const test::TempDir dir;
    VirtualPlay first;
    VirtualPlay second;
    const std::clock_t begun = std::clock();
    const std::string trace = playTenMinutes(dir.file("first.csv"), first);
    EXPECT_LT(static_cast<double>(std::clock() - begun) / CLOCKS_PER_SEC, kMostSeconds);
    EXPECT_EQ(trace, playTenMinutes(dir.file("second.csv"), second));
    EXPECT_EQ(first.rows.size(), 300U);
    EXPECT_DOUBLE_EQ(first.summary.played, 600);
    EXPECT_GT(first.summary.wallTime, 600);
    EXPECT_GT(first.summary.switchesUp, 3);
    EXPECT_GT(first.summary.switchesDown, 3);
    EXPECT_EQ(first.switches, second.switches);
}

TEST(Player, ChoosesByTheLine) {
    for (const auto& [rate, stream] : {std::pair(700000, 0), {2000000, 1}, {9000000, 3}}) {
        VirtualPlay play;
        play.addVideo({300000, 800000, 1600000, 3000000}, 60);
        play.line.rates = {{0ms, static_cast<uint64_t>(rate)}};
        EXPECT_EQ(play.play(), "");
        EXPECT_EQ(play.rows.back().stream, static_cast<size_t>(stream)) << rate;
        EXPECT_NEAR(play.rows.back().mean, rate, rate / 50);
    }
}

TEST(Player, FetchesAFilmPieceByPiece) {
    VirtualPlay play;
    play.addVideo({300000}, 3);
    EXPECT_EQ(play.play(), "");
    std::vector<std::string> urls;
    for (const auto& request : play.requests)
        urls.push_back(request.url.substr(VirtualPlay::kBase.size()));
    EXPECT_EQ(urls, (std::vector<std::string>{"master.m3u8", "v0.m3u8", "v0/0.ts", "v0/1.ts",
                                              "v0/2.ts"}));
    EXPECT_EQ(play.summary.downloads, 5U);
    // Each segment is asked for when the one before it has come.
    for (size_t i = 1; i < 3; ++i)
        EXPECT_NEAR(play.rows[i].begin, play.rows[i - 1].time, 1e-9);
    EXPECT_EQ(play.summary.stalls, 0);
}

/// A piece is told of when it has been written.
TEST(Player, TheNextRequestIsOnItsWayBeforeAPieceIsWritten) {
    class Watched : public VirtualPlay {
    public:
        void onSegment(const hastool::TraceRow& row) override {
            const std::string next =
                "v" + std::to_string(row.stream) + "/" + std::to_string(row.index + 1) + ".ts";
            isNextAsked.push_back(requestsFor(next) > 0);
            VirtualPlay::onSegment(row);
        }
        std::vector<bool> isNextAsked;
    };
    Watched play;
    play.addVideo({300000}, 8);
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.isNextAsked,
              (std::vector<bool>{true, true, true, true, true, true, true, false}));
}

/// Events and rows come in the order of the media, though the next request is made first.
TEST(Player, TellsOfAPieceBeforeTheNextOnesSwitch) {
    class Watched : public VirtualPlay {
    public:
        void onSegment(const hastool::TraceRow& row) override {
            told.push_back(std::to_string(row.index));
            VirtualPlay::onSegment(row);
        }
        void onSwitch(double time, int from, int to) override {
            told.push_back(to > from ? "up" : "down");
            VirtualPlay::onSwitch(time, from, to);
        }
        std::vector<std::string> told;
    };
    Watched play;
    play.addVideo({300000, 3000000}, 20);
    EXPECT_EQ(play.play(), "");
    ASSERT_FALSE(play.switches.empty());
    for (size_t i = 0; i < play.rows.size(); ++i) {
        if (*play.rows[i].change == '\0')
            continue;
        const auto piece = std::find(play.told.begin(), play.told.end(), std::to_string(i));
        ASSERT_GE(piece - play.told.begin(), 2);
        EXPECT_EQ(*(piece - 1), play.rows[i].change);
        EXPECT_EQ(*(piece - 2), std::to_string(i - 1));
    }
}

TEST(Player, WritesWhatCameBeforeAPlayFails) {
    const test::TempDir dir;
    VirtualPlay play;
    play.addVideo({300000}, 4);
    play.texts[VirtualPlay::kBase + "v0.m3u8"] =
        "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\nv0/0.ts\n#EXTINF:2,\nv0/1.ts\n"
        "#EXT-X-KEY:METHOD=AES-128,URI=\"none\"\n#EXTINF:2,\nv0/2.ts\n#EXT-X-ENDLIST\n";
    play.options.output = dir.file("film.ts");
    EXPECT_NE(play.play(), "");
    EXPECT_EQ(test::readFile(play.options.output).size(), 2U * 75000);
    EXPECT_EQ(play.rows.size(), 2U);
}

TEST(Player, ASlowAudioPieceDoesNotHoldUpTheVideo) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 20);
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "a/1.ts")
            return std::nullopt;
        VirtualPlay::Answer slow;
        slow.size = 16000;
        slow.delay = 5000ms;
        return slow;
    };
    EXPECT_EQ(play.play(), "");
    const double begun = play.askedAt("a/1.ts").value();
    EXPECT_LT(play.askedAt("v0/10.ts").value(), begun + 5);
    EXPECT_GE(play.askedAt("a/2.ts").value(), begun + 5);
    EXPECT_EQ(play.summary.segments, 40U);
    EXPECT_EQ(play.summary.stalls, 1); // Without sound there is nothing to play.
}

/// Audio and video stand still at the same time, so the viewer waits only once.
TEST(Player, FaultsOfBothTracksCostAsMuchAsOne) {
    constexpr double kFault = 12;
    const auto playWith = [&](const std::set<std::string>& faulty) {
        VirtualPlay play;
        play.addVideoAndAudio({300000}, 20);
        play.options.bufferGoal = 4s;
        play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
            if (faulty.count(name) == 0)
                return std::nullopt;
            VirtualPlay::Answer slow;
            slow.size = name.front() == 'a' ? 16000 : 75000;
            slow.delay = std::chrono::milliseconds(static_cast<int>(kFault * 1000));
            return slow;
        };
        EXPECT_EQ(play.play(), "");
        EXPECT_DOUBLE_EQ(play.summary.played, 40);
        return play.summary.wallTime;
    };
    const double smooth = playWith({});
    const double video = playWith({"v0/6.ts"});
    const double audio = playWith({"a/6.ts"});
    EXPECT_GT(std::min(video, audio), smooth + kFault / 2) << "the fault outlasts the buffer";
    EXPECT_LT(playWith({"v0/6.ts", "a/6.ts"}), std::max(video, audio) + 0.1);
    EXPECT_LT(std::max(video, audio), smooth + kFault);
}

/// The same at the very begin, where there is no buffer to live on.
TEST(Player, FaultsOfBothTracksHoldUpTheStartOnlyOnce) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 5);
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "v0/0.ts" && name != "a/0.ts")
            return std::nullopt;
        VirtualPlay::Answer slow;
        slow.size = 16000;
        slow.delay = 6000ms;
        return slow;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_GT(play.summary.startupTime, 6);
    EXPECT_LT(play.summary.startupTime, 6.5);
}

TEST(Player, ATrackWithAFullBufferDoesNotRunAhead) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 40);
    play.options.bufferGoal = 10s;
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "a/1.ts")
            return std::nullopt;
        VirtualPlay::Answer slow;
        slow.size = 16000;
        slow.delay = 60000ms;
        return slow;
    };
    EXPECT_EQ(play.play(), "");
    const double begun = play.askedAt("a/1.ts").value();
    EXPECT_GT(play.askedAt("v0/7.ts").value(), begun + 60);
    EXPECT_EQ(play.summary.segments, 80U);
}

/// Two that are held would come out together, and leave the line unmeasured.
TEST(Player, AFullBufferHoldsOnePieceAtATime) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 30);
    play.options.bufferGoal = 10s;
    EXPECT_EQ(play.play(), "");
    int held = 0;
    for (const auto& row : play.rows) {
        held += row.time - row.begin > 1 ? 1 : 0;
        for (const auto& other : play.rows) {
            if (row.isAudio == other.isAudio)
                continue;
            EXPECT_LT(std::min(row.time, other.time) - std::max(row.begin, other.begin), 0.5)
                << row.index << ", " << other.index;
        }
    }
    EXPECT_GT(held, 10);
}

TEST(Player, ASlowPlaylistHoldsUpItsOwnTrackOnly) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 20);
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "a.m3u8")
            return std::nullopt;
        auto slow = text(VirtualPlay::mediaPlaylist("a", 0, 20, true));
        slow.delay = 3000ms;
        return slow;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_LT(play.askedAt("v0/8.ts").value(), 3);
    EXPECT_GT(play.askedAt("a/0.ts").value(), 3);
}

/// Segments of both tracks under one key.
TEST(Player, AKeyIsFetchedOnceForBothTracks) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 3);
    for (const char* name : {"v0.m3u8", "a.m3u8"})
        play.texts[VirtualPlay::kBase + name].insert(
            8, "#EXT-X-KEY:METHOD=AES-128,URI=\"key.bin\",IV=0x" + std::string(32, '0') + "\n");
    std::string cipher(2048, '\0');
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name == "key.bin")
            return text(std::string(16, 'k'));
        return name.find(".ts") == std::string::npos ? std::nullopt : std::optional(text(cipher));
    };
    // Zeros are no cipher text of that key with any padding.
    EXPECT_EQ(play.play(), "http://line/v0/0.ts: segment 0 cannot be decrypted: bad padding: wrong "
                           "key or initialisation vector, or damaged data");
    EXPECT_EQ(play.requestsFor("key.bin"), 1);
    EXPECT_EQ(play.requestsFor("v0/0.ts"), 1);
    EXPECT_EQ(play.requestsFor("a/0.ts"), 1);
}

TEST(Player, AKeyThatCannotBeHadEndsThePlay) {
    VirtualPlay play;
    play.addVideo({300000}, 3);
    play.texts[VirtualPlay::kBase + "v0.m3u8"].insert(
        8, "#EXT-X-KEY:METHOD=AES-128,URI=\"key.bin\"\n");
    EXPECT_EQ(play.play(), "http://line/key.bin: the key of segment 0: HTTP 404");
    EXPECT_EQ(play.requestsFor("v0/0.ts"), 0);
}

/// A live DASH manifest names the segments of both tracks.
TEST(Player, AManifestIsLoadedAgainOnceForBothTracks) {
    VirtualPlay play;
    play.options.url = VirtualPlay::kBase + "live.mpd";
    play.options.duration = 30;
    play.texts[play.options.url] =
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"dynamic\" "
        "availabilityStartTime=\"2023-11-24T00:00:00Z\" minimumUpdatePeriod=\"PT2S\">"
        "<Period id=\"p\" start=\"PT0S\"><SegmentTemplate "
        "media=\"$RepresentationID$/$Number$.m4s\" "
        "duration=\"2\" startNumber=\"0\"/>"
        "<AdaptationSet mimeType=\"video/mp4\"><Representation id=\"v0\" bandwidth=\"300000\"/>"
        "</AdaptationSet><AdaptationSet mimeType=\"audio/mp4\">"
        "<Representation id=\"a\" bandwidth=\"64000\"/></AdaptationSet></Period></MPD>";
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name == "live.mpd")
            return std::nullopt;
        VirtualPlay::Answer media;
        media.size = 20000;
        return media;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.segments, 30U);
    EXPECT_EQ(play.summary.skipped, 0U);
    std::vector<double> loads;
    for (const auto& request : play.requests) {
        if (request.url == play.options.url)
            loads.push_back(request.time);
    }
    EXPECT_GT(loads.size(), 5U);
    for (size_t i = 1; i < loads.size(); ++i)
        EXPECT_GE(loads[i] - loads[i - 1], 2);
}

TEST(Player, HoldsTransfersWhileTheBufferIsFull) {
    VirtualPlay play;
    play.addVideo({300000}, 30);
    play.options.bufferGoal = 10s;
    EXPECT_EQ(play.play(), "");
    EXPECT_TRUE(std::any_of(play.samples.begin(), play.samples.end(),
                            [](const auto& sample) { return sample.transferHeld; }));
    for (const auto& sample : play.samples)
        EXPECT_LE(sample.buffer, 12);
    // One more piece than the buffer takes is under way, and held.
    EXPECT_NEAR(play.askedAt("v0/20.ts").value(), 28, 1);
}

TEST(Player, SkipsASegmentThatCannotBeHad) {
    VirtualPlay play;
    play.addVideo({300000}, 5);
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        return name == "v0/2.ts" ? std::optional(failing("HTTP 404")) : std::nullopt;
    };
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.skipped, 1U);
    EXPECT_EQ(play.summary.segments, 4U);
    EXPECT_TRUE(play.rows.at(2).skipped);
    EXPECT_EQ(play.troubles, std::vector<std::string>{"http://line/v0/2.ts: HTTP 404; skipped"});
}

TEST(Player, GivesUpAfterThreeFailuresInARow) {
    VirtualPlay play;
    play.addVideo({300000}, 9);
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        const bool fails = name.substr(0, 3) == "v0/" && name != "v0/0.ts" && name != "v0/2.ts";
        return fails ? std::optional(failing("HTTP 404")) : std::nullopt;
    };
    EXPECT_EQ(play.play(), "http://line/v0/5.ts: HTTP 404, like the segments before it; given up");
    EXPECT_EQ(play.summary.segments, 2U);
    EXPECT_EQ(play.summary.skipped, 4U);
    EXPECT_EQ(play.askedAt("v0/6.ts"), std::nullopt);
}

TEST(Player, LeavesAStreamWhosePlaylistCannotBeHad) {
    VirtualPlay play;
    play.addVideo({300000, 800000}, 20);
    play.texts.erase(VirtualPlay::kBase + "v1.m3u8");
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.requestsFor("v1.m3u8"), 1);
    EXPECT_EQ(play.troubles, std::vector<std::string>{"http://line/v1.m3u8: HTTP 404"});
    EXPECT_EQ(play.summary.segments, 20U);
}

TEST(Player, SaysWhyAPresentationCannotBeOpened) {
    VirtualPlay play;
    EXPECT_EQ(play.play(), "http://line/master.m3u8: HTTP 404");
}

TEST_F(LivePlayTest, WaitsForWhatComes) {
    m_play.options.duration = 40;
    EXPECT_EQ(m_play.play(), "");
    EXPECT_EQ(m_play.summary.segments, 20U);
    EXPECT_EQ(m_play.summary.skipped, 0U);
    // It was joined three segments before the end; the twentieth comes 32 s later.
    EXPECT_NEAR(m_play.rows.back().time, 34, 1.5);
    EXPECT_LT(m_play.requestsFor("v0.m3u8"), 40);
}

TEST_F(LivePlayTest, RidesOutFailuresToLoadThePlaylistAgain) {
    m_play.options.duration = 40;
    m_failsFrom = 10;
    m_failsUntil = 17;
    EXPECT_EQ(m_play.play(), "");
    EXPECT_EQ(m_play.summary.segments, 20U);
    EXPECT_TRUE(m_play.troubles.empty());
}

TEST_F(LivePlayTest, EndsWhenNothingNewHasComeForTooLong) {
    m_play.options.liveTimeout = 20s;
    m_failsFrom = 10;
    EXPECT_EQ(m_play.play(), "http://line/v0.m3u8: HTTP 500");
    EXPECT_NEAR(m_play.seconds(), 30, 3);
}

TEST(Player, AViewersPauseHoldsEverything) {
    VirtualPlay play;
    play.addVideo({300000}, 20);
    play.options.pauseAt = 4;
    play.options.pauseFor = 25;
    EXPECT_EQ(play.play(), "");
    ASSERT_EQ(play.events.size(), 2U);
    EXPECT_EQ(play.events[0].what, "the viewer pauses");
    EXPECT_EQ(play.events[1].what, "the viewer goes on");
    EXPECT_NEAR(play.events[1].time - play.events[0].time, 25, 0.02);
    EXPECT_NEAR(play.summary.wallTime, 40 + 25, 0.5);
    EXPECT_EQ(play.summary.stalls, 0);
}

TEST(Player, CountsStallsOnASlowLine) {
    VirtualPlay play;
    play.addVideo({300000}, 10);
    play.line.rates = {{0ms, 1000000}, {2000ms, 0}, {30000ms, 1000000}};
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.stalls, 1);
    ASSERT_EQ(play.events.size(), 2U);
    EXPECT_EQ(play.events[0].kind, "stall");
    EXPECT_NEAR(play.events[1].time - play.events[0].time, play.summary.stallTime, 0.05);
    EXPECT_GT(play.summary.stallTime, 15);
}

TEST(Player, StopsAfterTheDuration) {
    VirtualPlay play;
    play.addVideoAndAudio({300000}, 300);
    play.options.duration = 21;
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.segments, 22U);
    EXPECT_NEAR(play.summary.played, 21, 0.02);
}

TEST(Player, FetchesNoSegmentMoreThanAllowed) {
    for (const uint64_t most : {1U, 2U, 7U}) {
        VirtualPlay play;
        play.addVideoAndAudio({300000}, 300);
        play.options.maxSegments = most;
        EXPECT_EQ(play.play(), "");
        EXPECT_EQ(play.summary.segments, most);
        EXPECT_EQ(play.rows.size(), most);
        const auto segments =
            std::count_if(play.requests.begin(), play.requests.end(), [](const auto& request) {
                return request.url.find(".ts") != std::string::npos;
            });
        EXPECT_EQ(segments, static_cast<long>(most));
    }
}

TEST(Player, AFastPlayTakesNoTimeButTheLines) {
    VirtualPlay play;
    play.addVideoAndAudio({800000}, 30);
    play.options.fast = true;
    EXPECT_EQ(play.play(), "");
    EXPECT_EQ(play.summary.segments, 60U);
    EXPECT_LT(play.seconds(), 15);
    EXPECT_DOUBLE_EQ(play.summary.played, 60);
}
