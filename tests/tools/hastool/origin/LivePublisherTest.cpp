#include <tools/hastool/LiveFolder.h>

#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/media/FragmentRun.h>
#include <hastool/origin/LiveDash.h>
#include <hastool/origin/LiveLoop.h>
#include <hastool/origin/Origin.h>
#include <support/Fetch.h>

#include <future>
#include <memory>

#include <gmock/gmock.h>

using hastool::LiveLoop;
using hastool::LoopSegment;
using hastool::Origin;
using hastool::OriginOptions;
using test::Fetched;
using test::SetTime;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr double kStart = 1'700'000'000; // seconds since the epoch; the live streams began 30 s ago

TEST(LiveLoopTest, BeginsAnewAfterARound) {
    LoopSegment first;
    first.seconds = 2;
    LoopSegment second;
    second.start = 2;
    second.seconds = 1.5;
    const LiveLoop loop({first, second}, 4);
    EXPECT_DOUBLE_EQ(loop.start(3), 6);
    EXPECT_DOUBLE_EQ(loop.end(3), 7.5);
    EXPECT_EQ(loop.firstAfter(-1), 0U);
    EXPECT_EQ(loop.firstAfter(1.9), 0U);
    EXPECT_EQ(loop.firstAfter(2), 1U);
    EXPECT_EQ(loop.firstAfter(3.7), 2U); // there is nothing until 4
    EXPECT_EQ(loop.firstAfter(4000001), 2000000U);
}

TEST(LiveLoopTest, CountsBreaks) {
    LoopSegment plain;
    plain.seconds = 1;
    LoopSegment broken = plain;
    broken.start = 1;
    broken.discontinuity = true;
    const LiveLoop loop({plain, broken}, 2);
    EXPECT_FALSE(loop.isBreak(0));
    EXPECT_TRUE(loop.isBreak(1));
    EXPECT_TRUE(loop.isBreak(2));
    for (uint64_t number = 0, count = 0; number < 20; ++number) {
        EXPECT_EQ(loop.breaksBefore(number), count) << number;
        count += loop.isBreak(number) ? 1 : 0;
    }
}

class LiveOriginTest : public ::testing::Test {
protected:
    void serve(bool lowLatency, const std::vector<std::string>& faults = {}) {
        OriginOptions options;
        options.root = m_dir.path();
        options.faults = faults;
        options.live.emplace();
        options.live->lowLatency = lowLatency;
        options.liveTime = m_time;
        m_origin = std::make_unique<Origin>(options);
    }
    Fetched get(const std::string& path) const { return test::fetch(m_origin->url("") + path); }
    std::future<Fetched> begin(const std::string& path) {
        return std::async(std::launch::async, [this, path] { return get(path); });
    }
    bool isWaiting(std::future<Fetched>& fetched) const {
        m_time->awaitWaiter();
        return fetched.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }
    hastool::HlsPlaylist playlist() const {
        return hastool::parseHlsPlaylist(get("/h/m.m3u8").body, "http://h/m.m3u8");
    }

    test::TempDir m_dir;
    const std::shared_ptr<SetTime> m_time = std::make_shared<SetTime>(kStart);
    std::unique_ptr<Origin> m_origin;
};

TEST_F(LiveOriginTest, HlsWindowSlides) {
    test::writeLiveHls(m_dir);
    serve(false);
    EXPECT_THAT(m_origin->presentations(), ElementsAre(HasSubstr("/h/m.m3u8")));
    auto now = playlist();
    EXPECT_FALSE(now.ended);
    EXPECT_EQ(now.mediaSequence, 1U);
    ASSERT_EQ(now.segments.size(), 15U);
    EXPECT_EQ(now.segments[0].dateTime, kStart - 30);
    m_time->set(kStart + 5);
    now = playlist();
    EXPECT_EQ(now.mediaSequence, 3U);
    EXPECT_EQ(now.segments.size(), 15U);
    EXPECT_EQ(now.segments.back().uri, "m-live-17.ts");
}

TEST_F(LiveOriginTest, HlsMarksWhereTheMediaBeginsAnew) {
    test::writeLiveHls(m_dir);
    serve(false);
    const auto now = playlist();
    for (size_t i = 0; i < now.segments.size(); ++i)
        EXPECT_EQ(now.segments[i].discontinuity, i > 0 && i % 3 == 0) << i;
    EXPECT_EQ(now.segments[3].dateTime, kStart - 24);
    m_time->set(kStart + 8); // the first round and a segment of the second are gone
    EXPECT_THAT(get("/h/m.m3u8").body, HasSubstr("#EXT-X-DISCONTINUITY-SEQUENCE:1\n"));
}

TEST_F(LiveOriginTest, HlsSegmentsAreThereWhenTheyHaveEnded) {
    test::writeLiveHls(m_dir);
    serve(false);
    EXPECT_EQ(get("/h/m-live-15.ts").body, test::liveTsSegment('c'));
    EXPECT_EQ(get("/h/m-live-13.ts").body, test::liveTsSegment('a'));
    EXPECT_EQ(get("/h/m-live-16.ts").status, 404);
    EXPECT_EQ(get("/h/m-live-0.ts").status, 404);
    EXPECT_EQ(get("/h/m-live-15.1.ts").status, 404);
    m_time->set(kStart + 2);
    EXPECT_EQ(get("/h/m-live-16.ts").status, 200);
    m_time->set(kStart + 1000);
    EXPECT_EQ(get("/h/m-live-16.ts").status, 404);
}

TEST_F(LiveOriginTest, HlsKeysKeepTheVectorsOfTheRecordedNumbers) {
    test::writeLiveHls(m_dir, "#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n");
    serve(false);
    const auto now = playlist();
    EXPECT_EQ(now.segments[0].key->iv, "0x00000000000000000000000000000007");
    EXPECT_EQ(now.segments[5].key->iv, "0x00000000000000000000000000000009");
    EXPECT_EQ(now.segments[5].key->uri, "k");
}

TEST_F(LiveOriginTest, FaultsCountLiveSegments) {
    test::writeLiveHls(m_dir);
    test::writeLiveDash(m_dir);
    serve(false, {"seg=15:500", "seg=14:truncate=100", "seg=13:reset"});
    EXPECT_EQ(get("/h/m-live-15.ts").status, 500);
    EXPECT_EQ(get("/h/m-live-14.ts").body.size(), 100U);
    EXPECT_NE(get("/h/m-live-13.ts").code, CURLE_OK);
    EXPECT_EQ(get("/d/m-live-0-15.m4s").status, 500);
    EXPECT_EQ(get("/h/m-live-12.ts").status, 200);
}

TEST_F(LiveOriginTest, TellsWhatIsNotPublished) {
    m_dir.write("Manifest", "<SmoothStreamingMedia MajorVersion=\"2\"/>");
    m_dir.write("live.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\na.ts\n");
    m_dir.write("a.ts", "a");
    serve(false);
    EXPECT_TRUE(m_origin->presentations().empty());
    EXPECT_THAT(m_origin->problems(), ElementsAre(HasSubstr("/Manifest: Smooth"),
                                                  HasSubstr("not a playlist with an end")));
}

TEST_F(LiveOriginTest, DashIsDynamicAndItsTimesGoOn) {
    test::writeLiveDash(m_dir);
    serve(false);
    const std::string text = get("/d/m.mpd").body;
    const auto manifest = hastool::parseDashManifest(text, "http://h/m.mpd");
    EXPECT_TRUE(manifest.isDynamic);
    EXPECT_EQ(manifest.availabilityStart, kStart - 30);
    EXPECT_EQ(manifest.timeShiftDepth, 30.0);
    EXPECT_EQ(manifest.minimumUpdatePeriod, 10.0);
    EXPECT_EQ(manifest.clocks.at(0).value, hastool::kLiveClockPath);
    EXPECT_THAT(text, HasSubstr("timescale=\"1\" duration=\"2\" startNumber=\"1\""));
    EXPECT_THAT(text, Not(HasSubstr("availabilityTimeOffset")));
    const auto tracks = hastool::readInitTracks(get("/d/m-live-0-init.mp4").body);
    const Fetched segment = get("/d/m-live-0-14.m4s");
    const auto moof = hastool::findBox(segment.body, "moof").value();
    EXPECT_EQ(hastool::readFragmentRuns(moof.content, tracks).at(0).decodeTime, 26000U);
    EXPECT_EQ(get("/d/m-live-0-17.m4s").status, 404);
}

TEST_F(LiveOriginTest, DashListsUnequalSegmentsInATimeline) {
    test::writeLiveDash(m_dir, "timescale=\"1000\"",
                        "<SegmentTimeline><S t=\"0\" d=\"1000\"/><S d=\"3000\"/><S d=\"2000\"/>"
                        "</SegmentTimeline>");
    serve(true);
    const std::string text = get("/d/m.mpd").body;
    EXPECT_THAT(text, HasSubstr("<S t=\"0\" d=\"1000\"/>\n            <S t=\"1000\" d=\"3000\"/>"));
    EXPECT_THAT(text, HasSubstr("<S t=\"28000\" d=\"2000\"/>\n          </SegmentTimeline>"));
    EXPECT_THAT(text, Not(HasSubstr("availabilityTimeOffset")));
}

TEST_F(LiveOriginTest, TellsItsClock) {
    test::writeLiveDash(m_dir);
    serve(false);
    m_time->set(kStart + 0.25);
    EXPECT_EQ(get(hastool::kLiveClockPath).body, "2023-11-14T22:13:20.250Z");
}

TEST_F(LiveOriginTest, LowLatencyDashSendsChunksAsTheyAreMade) {
    test::writeLiveDash(m_dir);
    serve(true);
    EXPECT_THAT(get("/d/m.mpd").body, HasSubstr("availabilityTimeOffset=\"1.500\" "
                                                "availabilityTimeComplete=\"false\""));
    EXPECT_THAT(get("/d/m.mpd").body, HasSubstr("<Latency target=\"2500\"/>"));
    m_time->set(kStart + 0.5);
    auto fetched = begin("/d/m-live-0-16.m4s");
    ASSERT_TRUE(isWaiting(fetched));
    m_time->set(kStart + 1.5);
    EXPECT_TRUE(isWaiting(fetched));
    m_time->set(kStart + 2);
    const Fetched whole = fetched.get();
    EXPECT_THAT(whole.head, HasSubstr("Transfer-Encoding: chunked"));
    EXPECT_EQ(whole.body, get("/d/m-live-0-16.m4s").body);
    EXPECT_THAT(get("/d/m-live-0-16.m4s").head, HasSubstr("Content-Length: "));
    EXPECT_EQ(get("/d/m-live-0-19.m4s").status, 404);
}

TEST_F(LiveOriginTest, LowLatencyHlsListsParts) {
    test::writeLiveHls(m_dir);
    serve(true);
    m_time->set(kStart + 1.1);
    const std::string text = get("/h/m.m3u8").body;
    EXPECT_THAT(text, HasSubstr("#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,HOLD-BACK=6.000,"
                                "PART-HOLD-BACK=1.650\n#EXT-X-PART-INF:PART-TARGET=0.550\n"));
    EXPECT_THAT(text, HasSubstr("#EXT-X-PART:DURATION=0.50000,URI=\"m-live-16.0.ts\","
                                "INDEPENDENT=YES\n#EXT-X-PART:DURATION=0.50000,URI=\"m-live-16.1"
                                ".ts\"\n#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"m-live-16.2.ts\"\n"));
    EXPECT_THAT(text, HasSubstr("URI=\"m-live-13.0.ts\""));
    EXPECT_THAT(text, Not(HasSubstr("URI=\"m-live-12.0.ts\"")));
    std::string together;
    m_time->set(kStart + 2);
    for (const char* const part : {"0", "1", "2", "3"})
        together += get("/h/m-live-16." + std::string(part) + ".ts").body;
    EXPECT_EQ(together, test::liveTsSegment('a'));
    EXPECT_EQ(get("/h/m-live-16.4.ts").status, 404);
}

TEST_F(LiveOriginTest, HintedPartIsAnsweredWhenItIsThere) {
    test::writeLiveHls(m_dir);
    serve(true);
    m_time->set(kStart + 1.1);
    EXPECT_EQ(get("/h/m-live-17.3.ts").status, 404);
    auto fetched = begin("/h/m-live-16.2.ts");
    ASSERT_TRUE(isWaiting(fetched));
    m_time->set(kStart + 1.5);
    EXPECT_EQ(fetched.get().body, test::liveTsSegment('a').substr(10 * 188, 5 * 188));
}

TEST_F(LiveOriginTest, ReloadWaitsForTheSegmentOrPart) {
    test::writeLiveHls(m_dir);
    serve(true);
    m_time->set(kStart + 0.1);
    auto part = begin("/h/m.m3u8?_HLS_msn=16&_HLS_part=0");
    ASSERT_TRUE(isWaiting(part));
    m_time->set(kStart + 0.5);
    EXPECT_THAT(part.get().body, HasSubstr("URI=\"m-live-16.0.ts\",INDEPENDENT=YES\n"));
    auto segment = begin("/h/m.m3u8?_HLS_msn=16");
    ASSERT_TRUE(isWaiting(segment));
    m_time->set(kStart + 2);
    EXPECT_THAT(segment.get().body, HasSubstr("m-live-16.ts\n"));
}

TEST_F(LiveOriginTest, PartBehindTheLastIsTheFirstOfTheNextSegment) {
    test::writeLiveHls(m_dir);
    serve(true);
    m_time->set(kStart + 1.6);
    auto part = begin("/h/m.m3u8?_HLS_msn=16&_HLS_part=4");
    ASSERT_TRUE(isWaiting(part));
    m_time->set(kStart + 2.5);
    EXPECT_THAT(part.get().body, HasSubstr("URI=\"m-live-17.0.ts\",INDEPENDENT=YES\n"));
}

TEST_F(LiveOriginTest, ReloadsForWhatIsTooFarAheadAreRefused) {
    test::writeLiveHls(m_dir);
    serve(true);
    for (const char* const query : {"_HLS_msn=18", "_HLS_msn=16&_HLS_part=7", "_HLS_part=1",
                                    "_HLS_msn=x", "_HLS_msn=99999999999999999999"})
        EXPECT_EQ(get("/h/m.m3u8?" + std::string(query)).status, 400) << query;
    EXPECT_EQ(get("/h/m.m3u8?_HLS_msn=15&_HLS_part=1").status, 200);
}

TEST_F(LiveOriginTest, EncryptedHlsHasNoParts) {
    test::writeLiveHls(m_dir, "#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n");
    serve(true);
    EXPECT_THAT(get("/h/m.m3u8").body, Not(HasSubstr("PART")));
}

TEST_F(LiveOriginTest, StopEndsRequestsThatWait) {
    test::writeLiveHls(m_dir);
    serve(true);
    auto fetched = begin("/h/m.m3u8?_HLS_msn=16");
    ASSERT_TRUE(isWaiting(fetched));
    m_origin->stop();
    fetched.get();
}

} // namespace
