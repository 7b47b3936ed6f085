// The built-in presentations as live ones, judged by ffmpeg and played by the tool.
#include "Serve.h"

#include <support/MediaLadder.h>
#include <support/TempDir.h>

#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::runHastool;
using test::Serve;
using ::testing::HasSubstr;

namespace {

/// What ffprobe says of a live presentation's streams. It must not complain.
std::string probe(const std::string& url) {
    const Child::Result result = test::run(
        {"ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "csv", url},
        test::hastoolEnvironment(), std::chrono::seconds(60));
    EXPECT_EQ(result.status, 0) << url;
    EXPECT_EQ(result.err, "") << url;
    return result.out;
}

class HastoolLive : public ::testing::TestWithParam<const char*> {
protected:
    /// Plays a while. @return the summary
    json play(const Serve& serve, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> command = {
            "play", "-q",  "--json",  "--duration",         "4",
            "-o",   out(), "--trace", m_dir.file("t.json"), serve.url(GetParam())};
        command.insert(command.end(), more.begin(), more.end());
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, 0) << result.err << serve.err();
        return result.status == 0 ? json::parse(result.out) : json();
    }
    std::string out() const { return m_dir.file("out.media"); }

    test::TempDir m_dir;
};

INSTANTIATE_TEST_SUITE_P(Presentations, HastoolLive,
                         ::testing::Values("/hls/master.m3u8", "/dash/manifest.mpd"));

TEST_P(HastoolLive, IsReadByFfmpeg) {
    for (const std::vector<std::string>& how :
         {std::vector<std::string>{"--live"}, {"--live", "--low-latency"}}) {
        const Serve serve(how);
        const std::string streams = probe(serve.url(GetParam()));
        EXPECT_THAT(streams, HasSubstr("stream,h264"));
        EXPECT_THAT(streams, HasSubstr("stream,aac"));
    }
}

TEST_P(HastoolLive, IsPlayed) {
    const Serve serve({"--live"});
    const json played = play(serve);
    EXPECT_EQ(played["live"], true);
    EXPECT_GE(played["played_s"].get<double>(), 4);
    EXPECT_GT(played["live_distance_s"].get<double>(), 2);
    EXPECT_EQ(test::decodeErrors(out()), "");
}

TEST_P(HastoolLive, LowLatencyIsNearerToTheEdge) {
    const Serve serve({"--live", "--low-latency"});
    const json near = play(serve);
    EXPECT_GE(near["played_s"].get<double>(), 4);
    EXPECT_EQ(test::decodeErrors(out()), "");
    const json far = play(serve, {"--no-low-latency"});
    EXPECT_GT(far["live_distance_s"].get<double>(), 1.25 * near["live_distance_s"].get<double>());
}

TEST(HastoolLiveServe, LowLatencyNeedsLive) {
    const Child::Result result = runHastool({"serve", "--low-latency"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("hastool: --low-latency: needs --live\n"));
}

TEST(HastoolLiveServe, TellsWhatIsNotPublished) {
    Serve serve({"--live"});
    EXPECT_EQ(serve.out().find("/smooth/"), std::string::npos);
    EXPECT_THAT(serve.err(), HasSubstr("/smooth/Manifest: Smooth Streaming is not published live"));
    EXPECT_EQ(serve.interrupt(SIGINT).status, 0);
}

} // namespace
