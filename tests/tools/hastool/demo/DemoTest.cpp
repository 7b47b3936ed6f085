#include <tools/hastool/ErrorOf.h>

#include <hastool/demo/Demo.h>
#include <hastool/origin/RateProfile.h>
#include <support/TempDir.h>

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using hastool::Demo;
using hastool::DemoItem;
using hastool::DemoOptions;
using hastool::DemoResult;
using hastool::RateProfile;
using hastool::Terminal;
using test::errorOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

/// Counts what it is told.
class CountingObserver : public hastool::PlayObserver {
public:
    void onStatus(const hastool::PlayStatus&) override { ++statuses; }
    void onSegment(const hastool::TraceRow&) override { ++segments; }
    void onSample(const hastool::PlaySample&) override { ++samples; }
    void onEvent(double, const std::string&, const std::string&) override {}
    void onSwitch(double, int, int) override {}
    void onRendition(double, int, const std::string&) override {}
    void onTrouble(const std::string&) override {}

    int statuses = 0;
    int segments = 0;
    int samples = 0;
};

class DemoTest : public ::testing::Test {
protected:
    DemoTest() {
        m_options.media = m_dir.path();
        m_options.duration = 0.5;
        writeStream("hls");
        writeStream("hls-aes");
    }
    /// Writes a stream that is no real media. "hls-aes" is clear here too; players take it as well.
    void writeStream(const std::string& name) const {
        m_dir.write(name + "/master.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1000\ni.m3u8\n");
        m_dir.write(name + "/i.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n1.ts\n"
                                      "#EXTINF:1,\n2.ts\n#EXTINF:1,\n3.ts\n#EXT-X-ENDLIST\n");
        for (const char* const number : {"1", "2", "3"})
            m_dir.write(name + "/" + number + ".ts", std::string("segment ") + number);
    }
    std::vector<DemoResult> run(const std::vector<std::string>& only) {
        m_options.only = only;
        Terminal terminal(true);
        return Demo(m_options).run(terminal);
    }

    test::TempDir m_dir;
    DemoOptions m_options;
};

} // namespace

TEST_F(DemoTest, PlaysPresentationsAtTheSameTimeAndChecksThem) {
    const auto results = run({"hls-aes", "hls"});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].name, "hls");
    EXPECT_EQ(results[1].name, "hls-aes");
    for (const DemoResult& result : results) {
        EXPECT_THAT(result.failures, IsEmpty());
        EXPECT_GE(result.summary.played, 0.5);
        EXPECT_EQ(result.summary.segments, 1U);
    }
}

TEST_F(DemoTest, SaysWhenTheMediaIsNotWhatItShouldBe) {
    m_dir.write("hls-aes/1.ts", "segment !");
    const auto results = run({"hls", "hls-aes"});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_THAT(results[0].failures, IsEmpty());
    EXPECT_THAT(results[1].failures, ElementsAre("differs from the clear segments at byte 8"));
}

TEST_F(DemoTest, SaysWhenAPresentationCannotBePlayed) {
    m_dir.write("hls/master.m3u8", "nothing");
    const auto results = run({"hls", "dash"});
    ASSERT_EQ(results.size(), 2U);
    ASSERT_FALSE(results[0].failures.empty());
    EXPECT_THAT(results[0].failures[0], HasSubstr("/master.m3u8:1: not a playlist"));
    EXPECT_THAT(results[1].failures,
                ElementsAre(m_dir.file("dash") + ": No such file or directory"));
}

TEST_F(DemoTest, HandsEverythingOnToAnObserverOfItsOwn) {
    std::map<std::string, CountingObserver> observers;
    m_options.observerOf = [&](const DemoItem& item) {
        return item.name == "hls" ? &observers[item.name] : nullptr;
    };
    run({"hls", "hls-aes"});
    ASSERT_EQ(observers.size(), 1U);
    EXPECT_EQ(observers["hls"].segments, 1);
    EXPECT_GT(observers["hls"].statuses, 0);
    EXPECT_GT(observers["hls"].samples, 0);
}

TEST_F(DemoTest, PlaysAllOfItsPresentationsWhereNoneIsNamed) {
    std::vector<std::string> names;
    const Demo demo(m_options);
    for (const DemoItem& item : demo.items())
        names.push_back(item.name);
    EXPECT_THAT(names, ElementsAre("hls", "hls-aes", "dash", "dash-hybrid", "dash-cenc",
                                   "dash-muxed", "smooth"));
}

TEST_F(DemoTest, RefusesANameThatThereIsNot) {
    EXPECT_EQ(errorOf([&] { run({"hls", "mss"}); }), "--only: no such presentation: \"mss\"");
}

TEST(DemoProfile, RisesCollapsesRecoversAndIsCutOnce) {
    const RateProfile profile = RateProfile::parse(hastool::kDemoProfile, "p");
    double most = 0;
    std::vector<char> course;
    for (size_t i = 1; i < profile.steps().size(); ++i) {
        const double before = profile.steps()[i - 1].kbps;
        const double now = profile.steps()[i].kbps;
        course.push_back(now == 0 ? 'x' : now > before ? '+' : '-');
        most = std::max(most, now);
    }
    EXPECT_THAT(course, ElementsAre('+', '+', '-', '+', 'x', '+'));
    EXPECT_GT(most, 1300) << "enough for the best quality";
    EXPECT_GT(profile.duration(), 60) << "it is not over before the presentations";
}

TEST(DemoTable, HasARowPerPresentationAndSaysWhatFailed) {
    DemoResult good;
    good.name = "hls";
    good.summary.segments = 21;
    good.summary.meanBitrate = 760000;
    good.summary.switchesUp = 5;
    good.summary.switchesDown = 1;
    DemoResult bad;
    bad.name = "dash-muxed";
    bad.summary.stalls = 2;
    bad.summary.stallTime = 3.25;
    bad.summary.givenUp = 1;
    bad.summary.wasted = 25000;
    bad.failures = {"first", "second"};
    EXPECT_EQ(
        hastool::toText({good, bad}),
        "presentation  segments  mean bitrate   switches          stalls      given up  checks\n"
        "hls                 21    760 kbit/s    5 up 1 down    0, 0.0 s             0  ok\n"
        "dash-muxed           0      0 kbit/s    0 up 0 down    2, 3.2 s    1, 25.0 kB  failed\n"
        "dash-muxed: first\n"
        "dash-muxed: second\n");
}
