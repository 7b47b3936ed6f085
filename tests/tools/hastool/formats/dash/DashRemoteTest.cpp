// Parts of a DASH manifest in documents of their own, and parts that cannot be used.
#include <hastool/base/Base64.h>
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/base/PsshText.h>
#include <hastool/formats/dash/DashManifest.h>

#include <gtest/gtest.h>

using test::errorOf;

namespace {

constexpr char kUrl[] = "http://h/d/m.mpd";

class DashRemoteTest : public testing::Test {
protected:
    std::unique_ptr<hastool::Presentation> open(const std::string& text) {
        m_documents.set(kUrl, text);
        return hastool::openPresentation(kUrl, m_documents.fetcher(), std::chrono::milliseconds(0));
    }
    /// A period of two seconds, one segment.
    static std::string period(const std::string& name, const std::string& attributes = "") {
        return "<Period duration='PT2S' " + attributes + "><AdaptationSet contentType='video'>" +
               set(name) + "</AdaptationSet></Period>";
    }
    static std::string set(const std::string& name) {
        return "<SegmentTemplate media='" + name +
               "' duration='2'/><Representation id='r' bandwidth='1'/>";
    }
    static std::string mpd(const std::string& inside) {
        return "<MPD xmlns:xlink='http://www.w3.org/1999/xlink' mediaPresentationDuration='PT8S'>" +
               inside + "</MPD>";
    }

    Documents m_documents;
};

TEST_F(DashRemoteTest, PeriodsThatStandElsewhereAreReadInTheirPlace) {
    m_documents.set("http://h/d/x/two", "<?xml version='1.0'?>\n" + period("b") + period("c"));
    const auto presentation =
        open(mpd("<BaseURL>x/</BaseURL>" + period("a") +
                 "<Period xlink:href='two' xlink:actuate='onLoad'/>" + period("d")));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/x/a");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/x/b");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/x/c");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/x/d");
    EXPECT_EQ(nextUrl(*presentation), "end");
    EXPECT_TRUE(presentation->takeWarnings().empty());
}

TEST_F(DashRemoteTest, ASinglePeriodMayBeADocument) {
    m_documents.set("http://o/p", "<?xml version='1.0' encoding='UTF-8'?>" + period("b"));
    const auto presentation = open(mpd("<Period xlink:href='http://o/p'/>"));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/b") << "its URLs are the manifest's";
    EXPECT_EQ(nextUrl(*presentation), "end");
}

TEST_F(DashRemoteTest, ThePrefixMayStandForNothing) {
    m_documents.set("http://h/d/p", period("b"));
    const auto presentation = open("<MPD><Period xlink:href='p'/></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/b");
}

TEST_F(DashRemoteTest, AnAdaptationSetMayStandElsewhereToo) {
    m_documents.set("http://h/d/set",
                    "<AdaptationSet contentType='video'>" + set("s") + "</AdaptationSet>");
    const auto presentation =
        open(mpd("<Period duration='PT2S'><AdaptationSet xlink:href='set'/></Period>"));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/s");
}

TEST_F(DashRemoteTest, WhatResolvesToNothingIsNoElement) {
    const auto presentation = open(mpd(
        period("a") + "<Period duration='PT2S' xlink:href='urn:mpeg:dash:resolve-to-zero:2013'/>" +
        period("b")));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/a");
    const auto next = presentation->next(0, 0);
    EXPECT_EQ(next.piece.media.resource.url, "http://h/d/b");
    EXPECT_DOUBLE_EQ(next.piece.start, 2);
    EXPECT_TRUE(presentation->takeWarnings().empty());
}

TEST_F(DashRemoteTest, APeriodThatCannotBeHadIsSkippedAndTold) {
    const auto presentation =
        open(mpd(period("a") + "<Period duration='PT4S' xlink:href='gone'/>" + period("b")));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/a");
    const auto next = presentation->next(0, 0);
    EXPECT_EQ(next.piece.media.resource.url, "http://h/d/b");
    EXPECT_DOUBLE_EQ(next.piece.start, 6);
    const std::vector<std::string> expected = {
        "http://h/d/m.mpd: Period 2 is skipped, its Period stands elsewhere: http://h/d/gone: "
        "not there"};
    EXPECT_EQ(presentation->takeWarnings(), expected);
    EXPECT_EQ(errorOf([&] { open(mpd("<Period xlink:href='gone'/>")); }),
              "http://h/d/m.mpd: Period 1 is skipped, its Period stands elsewhere: "
              "http://h/d/gone: not there");
}

TEST_F(DashRemoteTest, WhatAPeriodHasItselfIsPlayedWhereTheOtherCannotBeHad) {
    m_documents.set("http://h/d/broken", "<Period>");
    const auto presentation = open(mpd(period("own", "xlink:href='broken'")));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/own");
    ASSERT_EQ(presentation->takeWarnings().size(), 1U);
}

TEST_F(DashRemoteTest, WhatStandsElsewhereStaysWhenTheManifestIsLoadedAgain) {
    m_documents.set("http://h/d/p", period("b"));
    m_documents.set(kUrl, "<MPD xmlns:xlink='http://www.w3.org/1999/xlink' type='dynamic' "
                          "availabilityStartTime='1970-01-01T00:00:00Z' "
                          "minimumUpdatePeriod='PT0S'><Period start='PT0S' xlink:href='p'/></MPD>");
    double passed = 0;
    hastool::TimeSource time;
    time.wall = [&] { return 3600 + passed; };
    time.steady = [&] {
        return std::chrono::steady_clock::time_point(
            std::chrono::milliseconds(static_cast<long long>(passed * 1000)));
    };
    const auto presentation =
        hastool::openPresentation(kUrl, m_documents.fetcher(), std::chrono::seconds(1), time);
    for (; passed < 10; passed += 1)
        presentation->next(0, 0);
    EXPECT_GT(m_documents.fetches(kUrl), 5);
    EXPECT_EQ(m_documents.fetches("http://h/d/p"), 1);
}

TEST_F(DashRemoteTest, DoesNotFollowWhatStandsElsewhereAgainAndAgain) {
    m_documents.set("http://h/d/p", "<Period duration='PT2S' xlink:href='p'>"
                                    "<AdaptationSet contentType='video'>" +
                                        set("s") + "</AdaptationSet></Period>");
    const auto presentation =
        open(mpd("<Period xmlns:xlink='http://www.w3.org/1999/xlink' xlink:href='p'/>"));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/s");
    EXPECT_EQ(m_documents.fetches("http://h/d/p"), 1);
    std::string many;
    for (size_t i = 0; i < hastool::kMaxDashRemotes + 50; ++i)
        many += "<Period duration='PT1S' xlink:href='" + std::to_string(i) + "'/>";
    open(mpd(many + period("a")));
    EXPECT_EQ(m_documents.fetches("http://h/d/99"), 1);
    EXPECT_EQ(m_documents.fetches("http://h/d/100"), 0);
}

TEST_F(DashRemoteTest, ASetThatCannotBeUsedDoesNotTakeTheOthersAlong) {
    const auto presentation = open(mpd(
        "<Period duration='PT2S'>"
        "<AdaptationSet contentType='audio'><SegmentTemplate media='a' timescale='0'/>"
        "<Representation id='a' bandwidth='1'/></AdaptationSet>"
        "<AdaptationSet contentType='audio'><SegmentTemplate media='c' duration='2'/>"
        "<Representation id='c' bandwidth='1'/></AdaptationSet>"
        "<AdaptationSet contentType='video'><SegmentTemplate media='$Bandwidth$' duration='2'/>"
        "<Representation id='bad' bandwidth='1'><SegmentTemplate media='$What$'/></Representation>"
        "<Representation id='good' bandwidth='2'/></AdaptationSet></Period>"));
    ASSERT_EQ(presentation->tracks().size(), 2U);
    EXPECT_EQ(presentation->tracks()[0].streams.size(), 1U);
    EXPECT_EQ(nextUrl(*presentation, 0), "http://h/d/2");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/d/c");
    const std::vector<std::string> expected = {
        "http://h/d/m.mpd: an AdaptationSet of audio in Period 1 cannot be used: SegmentTemplate "
        "with a bad timescale: \"0\"",
        "http://h/d/m.mpd: Representation \"bad\" in Period 1 cannot be used: a template with an "
        "unknown identifier: \"$What$\""};
    EXPECT_EQ(presentation->takeWarnings(), expected);
}

TEST_F(DashRemoteTest, AListUnderATemplateTakesItsOwnInitialisation) {
    const auto presentation = open(mpd(
        "<Period duration='PT4S'><AdaptationSet contentType='video'>"
        "<SegmentTemplate media='t$Number$' initialization='$RepresentationID$-init' duration='2'/>"
        "<Representation id='v' bandwidth='1'><SegmentList duration='2'>"
        "<Initialization sourceURL='own$' range='0-9'/><SegmentURL media='one'/>"
        "<SegmentURL media='two'/></SegmentList></Representation>"
        "<Representation id='w' bandwidth='2'><SegmentList duration='2'>"
        "<SegmentURL media='one'/><SegmentURL media='two'/></SegmentList></Representation>"
        "</AdaptationSet></Period>"));
    const auto own = presentation->next(0, 0).piece;
    EXPECT_EQ(own.media.resource.url, "http://h/d/one");
    EXPECT_EQ(own.init.value().resource.url, "http://h/d/own$");
    EXPECT_EQ(own.init.value().resource.range, (hastool::ByteRange{0, 10}));
    const auto inherited = presentation->next(0, 1).piece;
    EXPECT_EQ(inherited.media.resource.url, "http://h/d/two");
    EXPECT_EQ(inherited.init.value().resource.url, "http://h/d/w-init")
        << "what is inherited from a template is one";
}

TEST_F(DashRemoteTest, ATemplateUnderAListHasNoRangeOfItsInitialisation) {
    const auto presentation =
        open(mpd("<Period duration='PT2S'><SegmentList duration='2'><Initialization sourceURL='l' "
                 "range='5-9'/><SegmentURL media='one'/></SegmentList>"
                 "<AdaptationSet contentType='video'><SegmentTemplate media='m' initialization='i' "
                 "duration='2'/><Representation id='v' bandwidth='1'/></AdaptationSet></Period>"));
    const auto init = presentation->next(0, 0).piece.init.value();
    EXPECT_EQ(init.resource.url, "http://h/d/i");
    EXPECT_FALSE(init.resource.range);
}

TEST_F(DashRemoteTest, AnInitialisationMayStandInTheManifestItself) {
    const auto mpdOf = [](const std::string& data) {
        return mpd("<Period duration='PT2S'><AdaptationSet contentType='video'>"
                   "<SegmentTemplate media='m' initialization='" +
                   data +
                   "' duration='2'/><Representation id='v' bandwidth='1'/>"
                   "</AdaptationSet></Period>");
    };
    const auto presentation = open(mpdOf("data:video/mp4;base64," + hastool::toBase64("movie")));
    const auto piece = presentation->next(0, 0).piece;
    EXPECT_FALSE(piece.init);
    ASSERT_TRUE(piece.makeInit);
    EXPECT_EQ(piece.makeInit("media"), "movie");
    const auto broken = open(mpdOf("data:video/mp4;base64,A...A"));
    EXPECT_EQ(errorOf([&] { broken->next(0, 0); }),
              "http://h/d/m.mpd: a data URL that is not base64: \"data:video/mp4;base64,A...A\"");
}

TEST_F(DashRemoteTest, AListOfSeveralSegmentsWithoutADurationHasThePeriod) {
    const std::string list =
        "<AdaptationSet contentType='video'><Representation id='v' bandwidth='1'>"
        "<SegmentList><SegmentURL media='1'/><SegmentURL media='2'/>"
        "</SegmentList></Representation></AdaptationSet></Period></MPD>";
    const auto presentation = open("<MPD><Period duration='PT5S'>" + list);
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/1");
    const auto second = presentation->next(0, 0).piece;
    EXPECT_DOUBLE_EQ(second.start, 2.5);
    EXPECT_DOUBLE_EQ(second.seconds, 2.5);
    const auto unknown = open("<MPD><Period>" + list);
    EXPECT_EQ(errorOf([&] { unknown->next(0, 0); }),
              "http://h/d/m.mpd: a SegmentList of several segments without a duration");
}

} // namespace
