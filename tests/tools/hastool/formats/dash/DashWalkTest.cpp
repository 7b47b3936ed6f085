// Manifests made for the purpose are walked to their end: every segment once, and every period.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/ManifestWalk.h>

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>

namespace {

constexpr char kUrl[] = "http://h/m.mpd";
constexpr double kSegment = 4; // seconds
constexpr int kScale = 1000;
constexpr int kOffset = 50000; // of media times, where there is one

/// How the segments of a manifest are written, and how long its periods are.
struct Shape {
    enum class Kind { Runs, Repeats, Endless, Duration };
    Kind kind = Kind::Runs;
    int periods = 1;
    double periodSeconds = 12;
    bool hasDuration = true; ///< written in each Period; else the next start or the MPD tells it
    bool hasOffset = false;
    int segments = 3; ///< that are listed
};

std::string describe(const Shape& shape) {
    std::ostringstream text;
    text << "kind " << static_cast<int>(shape.kind) << ", " << shape.periods << " periods of "
         << shape.periodSeconds << " s" << (shape.hasDuration ? " with a duration" : "")
         << (shape.hasOffset ? ", with an offset" : "");
    return text.str();
}

/// The timeline of segments of one length.
std::string timeline(const Shape& shape, double seconds, int count) {
    const std::string d = std::to_string(std::lround(seconds * kScale));
    const std::string t = std::to_string(shape.hasOffset ? kOffset : 0);
    std::string runs;
    if (shape.kind == Shape::Kind::Endless)
        runs = "<S t='" + t + "' d='" + d + "' r='-1'/>";
    else if (shape.kind == Shape::Kind::Repeats)
        runs = "<S t='" + t + "' d='" + d + "' r='" + std::to_string(count - 1) + "'/>";
    else
        for (int i = 0; i < count; ++i)
            runs += (i == 0 ? "<S t='" + t + "'" : std::string("<S")) + " d='" + d + "'/>";
    return "<SegmentTimeline>" + runs + "</SegmentTimeline>";
}

/// One stream whose segments are so long.
std::string set(const Shape& shape, const std::string& type, int bandwidth, double seconds,
                int count) {
    const bool isCounted = shape.kind == Shape::Kind::Duration;
    const std::string attributes =
        isCounted ? " duration='" + std::to_string(std::lround(seconds * kScale)) + "'" : "";
    const std::string offset =
        shape.hasOffset ? " presentationTimeOffset='" + std::to_string(kOffset) + "'" : "";
    return "<Representation id='" + type + std::to_string(bandwidth) + "' bandwidth='" +
           std::to_string(bandwidth) + "'><SegmentTemplate media='" + type +
           "$Bandwidth$-$Number$' timescale='" + std::to_string(kScale) + "'" + offset +
           attributes + ">" + (isCounted ? "" : timeline(shape, seconds, count)) +
           "</SegmentTemplate></Representation>";
}

std::string manifest(const Shape& shape) {
    std::ostringstream text;
    text << "<MPD mediaPresentationDuration='PT" << shape.periods * shape.periodSeconds << "S'>";
    for (int i = 0; i < shape.periods; ++i) {
        text << "<Period id='" << i << "'";
        if (shape.hasDuration)
            text << " duration='PT" << shape.periodSeconds << "S'";
        else
            text << " start='PT" << i * shape.periodSeconds << "S'";
        text << "><BaseURL>p" << i << "/</BaseURL><AdaptationSet contentType='video'>"
             << set(shape, "v", 1, kSegment, shape.segments)
             << set(shape, "v", 2, kSegment * 1.5, shape.segments) << "</AdaptationSet></Period>";
    }
    return text.str() + "</MPD>";
}

/// The segments of the first stream that begin within their period.
std::vector<std::string> expected(const Shape& shape) {
    const bool isCounted = shape.kind == Shape::Kind::Duration;
    const bool isEndless = shape.kind == Shape::Kind::Endless;
    std::vector<std::string> result;
    for (int period = 0; period < shape.periods; ++period) {
        for (int i = 0; isCounted || isEndless || i < shape.segments; ++i) {
            if (i * kSegment >= shape.periodSeconds - 0.001)
                break;
            result.push_back("http://h/p" + std::to_string(period) + "/v1-" +
                             std::to_string(i + 1));
        }
    }
    return result;
}

ManifestWalk walkOf(const std::string& text, size_t stream, size_t step) {
    WalkClock clock;
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{text, resource.url};
    };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(1), clock.source());
    return walk(*presentation, 0, stream, clock, 0, step);
}

std::vector<std::string> urls(const ManifestWalk& walked) {
    std::vector<std::string> result;
    for (const auto& piece : walked.pieces)
        result.push_back(piece.media.resource.url);
    return result;
}

std::vector<Shape> shapes() {
    using Kind = Shape::Kind;
    std::vector<Shape> result;
    for (const Kind kind : {Kind::Runs, Kind::Repeats, Kind::Endless, Kind::Duration}) {
        for (const int periods : {1, 2, 3}) {
            // The last segment ends where its period does, reaches beyond it by more and more of
            // its length, or stops short of it.
            for (const double seconds :
                 {12.0, 11.9, 11.0, 10.5, 9.0, 8.01, 8.0, 12.1, 13.0, 15.0, 20.0, 3.0})
                for (const bool hasDuration : {true, false})
                    for (const bool hasOffset : {true, false})
                        result.push_back({kind, periods, seconds, hasDuration, hasOffset, 3});
        }
    }
    return result;
}

TEST(DashWalk, EverySegmentThatBeginsInItsPeriodComesOnce) {
    for (const Shape& shape : shapes()) {
        const ManifestWalk walked = walkOf(manifest(shape), 0, 0);
        EXPECT_TRUE(walked.ended) << describe(shape);
        EXPECT_EQ(walked.error, "") << describe(shape);
        EXPECT_EQ(urls(walked), expected(shape)) << describe(shape);
    }
}

TEST(DashWalk, StreamsThatAreCutDifferentlyLeadToTheEndAsWell) {
    for (const Shape& shape : shapes()) {
        for (const size_t first : {size_t(0), size_t(1)}) {
            const ManifestWalk walked = walkOf(manifest(shape), first, 1);
            EXPECT_TRUE(walked.ended) << describe(shape);
            const auto all = urls(walked);
            EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), all.size())
                << describe(shape);
            const std::string last = "/p" + std::to_string(shape.periods - 1) + "/";
            EXPECT_NE(all.back().find(last), std::string::npos) << describe(shape);
            for (size_t i = 1; i < walked.pieces.size(); ++i) {
                const auto& before = walked.pieces[i - 1];
                const auto& piece = walked.pieces[i];
                EXPECT_GE(piece.start, before.start) << describe(shape);
                const bool bringsMore = piece.start + piece.seconds > before.start + before.seconds;
                EXPECT_TRUE(piece.discontinuity || bringsMore) << describe(shape);
            }
        }
    }
}

TEST(DashWalk, APeriodBeginsWithItsFirstSegmentWhateverTheOneBeforeReachedInto) {
    const Shape shape{Shape::Kind::Repeats, 2, 8.1, true, false, 3};
    const ManifestWalk walked = walkOf(manifest(shape), 0, 0);
    ASSERT_EQ(walked.pieces.size(), 6U);
    EXPECT_DOUBLE_EQ(walked.pieces[2].start, 8) << "to 12, nearly all of it in the next period";
    EXPECT_EQ(walked.pieces[3].media.resource.url, "http://h/p1/v1-1");
    EXPECT_NEAR(walked.pieces[3].start, 8.1, 1e-6);
    EXPECT_TRUE(walked.pieces[3].discontinuity);
    EXPECT_FALSE(walked.pieces[4].discontinuity);
}

/// A live manifest at a moment: the last segments of a timeline in periods of 21 s.
std::string liveManifest(double now) {
    constexpr double kPeriod = 21;
    constexpr double kWindow = 40;
    std::ostringstream text;
    text << "<MPD type='dynamic' availabilityStartTime='1970-01-01T00:00:00Z'"
            " minimumUpdatePeriod='PT2S'>";
    for (int period = std::max(0, static_cast<int>((now - kWindow) / kPeriod));
         period * kPeriod <= now; ++period) {
        const double start = period * kPeriod;
        text << "<Period id='" << period << "' start='PT" << start << "S'><BaseURL>p" << period
             << "/</BaseURL><AdaptationSet contentType='video'><SegmentTemplate media='$Time$'>"
                "<SegmentTimeline>";
        for (int i = 0; i * 2 < kPeriod && start + (i + 1) * 2 <= now; ++i) {
            if (start + i * 2 >= now - kWindow)
                text << "<S t='" << i * 2 << "' d='2'/>";
        }
        text << "</SegmentTimeline></SegmentTemplate><Representation id='r' bandwidth='1'/>"
                "</AdaptationSet></Period>";
    }
    return text.str() + "</MPD>";
}

TEST(DashWalk, ALiveStreamGoesOnFromPeriodToPeriod) {
    constexpr double kBegin = 1000;
    WalkClock clock(kBegin);
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{liveManifest(kBegin + clock.passed()), resource.url};
    };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(10), clock.source());
    const ManifestWalk walked = walk(*presentation, 0, 0, clock, 100);
    EXPECT_EQ(walked.error, "");
    EXPECT_FALSE(walked.endless);
    ASSERT_GT(walked.pieces.size(), 45U);
    EXPECT_NEAR(walked.pieces.front().start, kBegin - 6, 3);
    EXPECT_NEAR(walked.pieces.back().start, kBegin + 96, 3);
    int discontinuities = 0;
    for (size_t i = 1; i < walked.pieces.size(); ++i) {
        const auto& piece = walked.pieces[i];
        discontinuities += piece.discontinuity ? 1 : 0;
        EXPECT_EQ(piece.lost, 0U);
        // The eleventh segment of a period reaches a second into the next one.
        EXPECT_DOUBLE_EQ(piece.start - walked.pieces[i - 1].start, piece.discontinuity ? 1 : 2);
    }
    EXPECT_EQ(discontinuities, 5);
}

TEST(DashWalk, ATrackThatStandsStillIsToldWhateverTheOthersDo) {
    constexpr double kBegin = 1000;
    WalkClock clock(kBegin);
    const auto set = [](const std::string& type, int last) {
        return "<AdaptationSet contentType='" + type +
               "'><SegmentTemplate media='$Time$'><SegmentTimeline><S t='900' d='2' r='" +
               std::to_string((last - 900) / 2 - 1) +
               "'/></SegmentTimeline></SegmentTemplate><Representation id='r' bandwidth='1'/>"
               "</AdaptationSet>";
    };
    const auto fetch = [&](const hastool::Resource& resource) {
        const int now = static_cast<int>(kBegin + clock.passed());
        return hastool::Document{
            "<MPD type='dynamic' minimumUpdatePeriod='PT1S' "
            "availabilityStartTime='1970-01-01T00:00:00Z'><Period start='PT0S'>" +
                set("video", now) + set("audio", 1000) + "</Period></MPD>",
            resource.url};
    };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(10), clock.source());
    std::string error;
    size_t pieces = 0;
    while (error.empty() && clock.passed() < 60) {
        const ManifestWalk video = walk(*presentation, 0, 0, clock, 2);
        EXPECT_EQ(video.error, "");
        pieces += video.pieces.size();
        error = walk(*presentation, 1, 0, clock, 0.1).error;
    }
    EXPECT_EQ(error, "http://h/m.mpd: the live stream has stopped");
    EXPECT_GT(pieces, 5U) << "and the video went on";
    EXPECT_LT(clock.passed(), 20);
}

TEST(DashWalk, AHugeRunOfALiveStreamIsNotListed) {
    // A second of a stream that has run for sixty years, with more to come than there is memory.
    WalkClock clock(1.9e9);
    const std::string text =
        "<MPD type='dynamic' availabilityStartTime='1970-01-01T00:00:00Z'><Period start='PT0S'>"
        "<AdaptationSet contentType='video'><SegmentTemplate media='$Time$' timescale='1000'>"
        "<SegmentTimeline><S t='0' d='1' r='9000000000000'/></SegmentTimeline></SegmentTemplate>"
        "<Representation id='r' bandwidth='1'/></AdaptationSet></Period></MPD>";
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{text, resource.url};
    };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(1), clock.source());
    EXPECT_EQ(presentation->next(0, 0).piece.media.resource.url, "http://h/8999999999998");
    EXPECT_EQ(presentation->next(0, 0).piece.media.resource.url, "http://h/8999999999999");
}

TEST(DashWalk, ALiveStreamWithoutACountGivesWhatIsWhole) {
    WalkClock clock(100.5);
    const std::string text =
        "<MPD type='dynamic' availabilityStartTime='1970-01-01T00:00:00Z'><Period start='PT0S'>"
        "<AdaptationSet contentType='video'><SegmentTemplate media='$Time$'>"
        "<SegmentTimeline><S t='0' d='2' r='-1'/></SegmentTimeline></SegmentTemplate>"
        "<Representation id='r' bandwidth='1'/></AdaptationSet></Period></MPD>";
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{text, resource.url};
    };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(10), clock.source());
    const ManifestWalk walked = walk(*presentation, 0, 0, clock, 20);
    ASSERT_GE(walked.pieces.size(), 12U);
    EXPECT_EQ(walked.pieces[0].media.resource.url, "http://h/94");
    EXPECT_EQ(walked.pieces[2].media.resource.url, "http://h/98");
    EXPECT_NEAR(walked.pieces.back().start, 118, 2.1);
}

} // namespace
