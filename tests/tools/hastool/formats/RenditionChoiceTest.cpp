#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/RenditionChoice.h>

#include <gtest/gtest.h>

using hastool::findRendition;
using hastool::matchesLanguage;
using hastool::RenditionChoice;

namespace {

constexpr char kUrl[] = "http://h/m";

/// The URL of the first piece of each track, or the error.
std::string firstPieces(Documents& documents, const RenditionChoice& choice) {
    std::string text;
    const std::string error = test::errorOf([&] {
        const auto presentation = hastool::openPresentation(
            kUrl, documents.fetcher(), std::chrono::milliseconds(0), {}, choice);
        for (size_t i = 0; i < presentation->tracks().size(); ++i) {
            const hastool::TrackInfo& info = presentation->tracks()[i];
            text += (i == 0 ? "" : " ") + std::string(info.isText ? "text:" : "") +
                    nextUrl(*presentation, i).substr(std::string("http://h/").size());
        }
    });
    return error.empty() ? text : error;
}

RenditionChoice audio(const std::string& wanted) {
    return {"", wanted, ""};
}
RenditionChoice subtitles(const std::string& wanted) {
    return {"", "", wanted};
}

std::string hlsMedia(const std::string& name, const std::string& uri) {
    return "#EXT-X-MEDIA:" + name + ",URI=\"" + uri + "\"\n";
}

Documents hls() {
    Documents documents;
    documents.set(
        kUrl,
        "#EXTM3U\n" +
            hlsMedia("TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES",
                     "en") +
            hlsMedia("TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"Deutsch\",LANGUAGE=\"de-AT\"", "de") +
            hlsMedia("TYPE=AUDIO,GROUP-ID=\"b\",NAME=\"Best\",LANGUAGE=\"fi\"", "fi") +
            hlsMedia("TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"forced\",LANGUAGE=\"en\",FORCED=YES",
                     "sf") +
            hlsMedia("TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"English\",LANGUAGE=\"en-GB\"", "se") +
            "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"x\",INSTREAM-ID=\"CC1\"\n" +
            hlsMedia("TYPE=VIDEO,GROUP-ID=\"v1\",NAME=\"Goal\",LANGUAGE=\"en\"", "goal1") +
            hlsMedia("TYPE=VIDEO,GROUP-ID=\"v2\",NAME=\"Goal\",LANGUAGE=\"en\"", "goal2") +
            "#EXT-X-MEDIA:TYPE=VIDEO,GROUP-ID=\"v1\",NAME=\"Field\"\n"
            "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"a\",SUBTITLES=\"s\",VIDEO=\"v1\"\nlow\n"
            "#EXT-X-STREAM-INF:BANDWIDTH=2,AUDIO=\"b\",SUBTITLES=\"s\",VIDEO=\"v2\"\nhigh\n");
    for (const char* const name :
         {"en", "de", "fi", "sf", "se", "goal1", "goal2", "low", "high", "cc"})
        documents.set("http://h/" + std::string(name),
                      "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + std::string(name) +
                          "0\n#EXT-X-ENDLIST\n");
    return documents;
}

Documents dash() {
    const auto set = [](const std::string& attributes, const std::string& inside,
                        const std::string& id, const std::string& representation = "") {
        return "<AdaptationSet " + attributes + ">" + inside +
               "<SegmentTemplate media='$RepresentationID$-$Number$' duration='2'/>"
               "<Representation id='" +
               id + "' bandwidth='1' " + representation + "/></AdaptationSet>";
    };
    Documents documents;
    documents.set(
        kUrl, "<MPD mediaPresentationDuration='PT8S'><Period duration='PT4S'>" +
                  set("mimeType='video/mp4'", "", "v") +
                  set("mimeType='video/mp4' id='7'", "<Role value='sign'/>", "signed") +
                  set("mimeType='audio/mp4' lang='en'", "<Label>Commentary</Label>", "en") +
                  set("mimeType='audio/mp4' lang='de'", "<Role value='main'/>", "de") +
                  set("lang='en' contentType='text'", "", "wvtt",
                      "mimeType='application/mp4' codecs='wvtt'") +
                  set("lang='fr' mimeType='application/ttml+xml'", "", "ttml") +
                  set("lang='fi' mimeType='application/mp4' codecs='stpp.ttml.im1t'", "", "stpp") +
                  "</Period><Period>" + set("mimeType='video/mp4'", "", "v") +
                  set("mimeType='text/vtt' lang='sv'", "", "late") + "</Period></MPD>");
    return documents;
}

Documents smooth() {
    const auto stream = [](const std::string& type, const std::string& attributes,
                           const std::string& name) {
        return "<StreamIndex Type='" + type + "' " + attributes + " Url='" + name +
               "{start time}'><QualityLevel Bitrate='1' FourCC='TTML'/><c d='10'/></StreamIndex>";
    };
    Documents documents;
    documents.set(kUrl,
                  "<SmoothStreamingMedia TimeScale='10' Duration='10'>" + stream("video", "", "v") +
                      stream("audio", "Name='a1' Language='eng'", "en") +
                      stream("audio", "Name='a2' Language='deu'", "de") +
                      stream("text", "Name='t1' Language='eng'", "t") + "</SmoothStreamingMedia>");
    return documents;
}

TEST(RenditionChoice, TakesALanguageWithAllItsVariants) {
    EXPECT_TRUE(matchesLanguage("en", "en"));
    EXPECT_TRUE(matchesLanguage("EN", "en-gb"));
    EXPECT_TRUE(matchesLanguage("zh-Hant", "ZH-hant-TW"));
    EXPECT_TRUE(matchesLanguage("*", "x"));
    EXPECT_FALSE(matchesLanguage("*", ""));
    EXPECT_FALSE(matchesLanguage("en", "eng"));
    EXPECT_FALSE(matchesLanguage("en-GB", "en"));
    EXPECT_FALSE(matchesLanguage("", "en"));
}

TEST(RenditionChoice, PrefersANameThenTheRankThenTheOrder) {
    EXPECT_EQ(findRendition("de", {{"de", {"x"}, 9}, {"fr", {"de"}, 0}}), 1U);
    EXPECT_EQ(findRendition("de", {{"de", {}, 0}, {"de-AT", {}, 1}, {"de", {}, 1}}), 1U);
    EXPECT_EQ(findRendition("DE", {{"", {"de"}, 0}}), std::nullopt) << "names are as written";
    EXPECT_EQ(findRendition("", {{"", {""}, 0}}), std::nullopt);
}

TEST(RenditionChoice, ListsWhatThereIsOnOneLine) {
    EXPECT_STREQ(hastool::noSuchRendition("--audio", "fr", {}).what(),
                 "--audio: no such rendition: \"fr\"; there are none");
    EXPECT_STREQ(
        hastool::noSuchRendition(
            "--audio", "fr", {{"en", {"", "a\nb"}, 0}, {"de", {}, 0}, {"de", {}, 0}, {"", {}, 0}})
            .what(),
        "--audio: no such rendition: \"fr\"; there are \"en\" (\"a?b\"), \"de\", one without a "
        "name");
    std::vector<hastool::RenditionLabel> many;
    for (int i = 0; i < 50; ++i)
        many.push_back({"l" + std::to_string(i), {}, 0});
    const std::string text = hastool::noSuchRendition("--audio", "fr", many).what();
    EXPECT_NE(text.find("\"l19\" and 30 more"), std::string::npos) << text;
}

TEST(RenditionChoice, HlsPlaysTheRenditionsThatAreWanted) {
    Documents documents = hls();
    EXPECT_EQ(firstPieces(documents, {}), "low0 en0");
    EXPECT_EQ(firstPieces(documents, audio("de")), "low0 de0");
    EXPECT_EQ(firstPieces(documents, audio("Deutsch")), "low0 de0");
    EXPECT_EQ(firstPieces(documents, audio("fi")), "high0 fi0") << "only that variant has it";
    EXPECT_EQ(firstPieces(documents, audio("none")), "low0");
    EXPECT_EQ(firstPieces(documents, {"none", "de", ""}), "de0");
    EXPECT_EQ(firstPieces(documents, {"none", "none", ""}),
              "--video: none: there is no audio without video");
    EXPECT_EQ(firstPieces(documents, {"Goal", "", ""}), "goal10 en0");
    EXPECT_EQ(firstPieces(documents, {"Field", "", ""}), "low0 en0") << "that of the variant";
    EXPECT_EQ(firstPieces(documents, subtitles("en")), "low0 en0 text:se0") << "not the forced one";
    EXPECT_EQ(firstPieces(documents, subtitles("forced")), "low0 en0 text:sf0");
    EXPECT_EQ(firstPieces(documents, subtitles("none")), "low0 en0");
}

TEST(RenditionChoice, HlsSaysWhichRenditionsThereAre) {
    Documents documents = hls();
    EXPECT_EQ(firstPieces(documents, audio("xx")),
              "--audio: no such rendition: \"xx\"; there are \"en\" (\"English\"), \"de-AT\" "
              "(\"Deutsch\"), \"fi\" (\"Best\")");
    EXPECT_EQ(firstPieces(documents, subtitles("xx")),
              "--subtitles: no such rendition: \"xx\"; there are \"en\" (\"forced\"), \"en-GB\" "
              "(\"English\"); closed captions are in the video");
    EXPECT_EQ(firstPieces(documents, {"xx", "", ""}),
              "--video: no such rendition: \"xx\"; there are \"en\" (\"Goal\"), \"Field\"");
    documents.set(kUrl, "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na\n#EXT-X-ENDLIST\n");
    EXPECT_EQ(firstPieces(documents, subtitles("none")), "a");
    EXPECT_EQ(firstPieces(documents, subtitles("en")),
              "--subtitles: no such rendition: \"en\"; there are none");
}

TEST(RenditionChoice, DashPlaysTheSetsThatAreWanted) {
    Documents documents = dash();
    EXPECT_EQ(firstPieces(documents, {}), "v-1 de-1");
    EXPECT_EQ(firstPieces(documents, audio("en")), "v-1 en-1");
    EXPECT_EQ(firstPieces(documents, audio("Commentary")), "v-1 en-1");
    EXPECT_EQ(firstPieces(documents, audio("none")), "v-1");
    EXPECT_EQ(firstPieces(documents, {"sign", "", ""}), "signed-1 de-1");
    EXPECT_EQ(firstPieces(documents, {"7", "", ""}), "signed-1 de-1");
    EXPECT_EQ(firstPieces(documents, {"none", "en", ""}), "en-1");
    EXPECT_EQ(firstPieces(documents, subtitles("en")), "v-1 de-1 text:wvtt-1");
    EXPECT_EQ(firstPieces(documents, subtitles("fr")), "v-1 de-1 text:ttml-1");
    EXPECT_EQ(firstPieces(documents, subtitles("fi")), "v-1 de-1 text:stpp-1");
    EXPECT_EQ(firstPieces(documents, subtitles("sv")), "v-1 de-1 text:late-1");
    EXPECT_EQ(firstPieces(documents, subtitles("xx")),
              "--subtitles: no such rendition: \"xx\"; there are \"en\", \"fr\", \"fi\", \"sv\"");
}

TEST(RenditionChoice, SmoothPlaysTheStreamsThatAreWanted) {
    Documents documents = smooth();
    EXPECT_EQ(firstPieces(documents, {}), "v0 en0");
    EXPECT_EQ(firstPieces(documents, audio("deu")), "v0 de0");
    EXPECT_EQ(firstPieces(documents, audio("a2")), "v0 de0");
    EXPECT_EQ(firstPieces(documents, {"none", "deu", ""}), "de0");
    EXPECT_EQ(firstPieces(documents, subtitles("eng")), "v0 en0 text:t0");
    EXPECT_EQ(firstPieces(documents, audio("fra")),
              "--audio: no such rendition: \"fra\"; there are \"eng\" (\"a1\"), \"deu\" (\"a2\")");
}

} // namespace
