#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/net/HttpUrl.h>

#include <gtest/gtest.h>

using hastool::HlsPlaylist;
using hastool::HlsVariables;
using hastool::parseHlsPlaylist;
using hastool::queryParameter;
using test::errorOf;

namespace {

constexpr char kUrl[] = "http://h/a.m3u8";

/// A media playlist of one segment.
std::string media(const std::string& tags, const std::string& uri = "a.ts") {
    return "#EXTM3U\n" + tags + "#EXTINF:1,\n" + uri + "\n";
}

HlsPlaylist parse(const std::string& text, const std::string& url = kUrl) {
    return parseHlsPlaylist(text, url);
}

std::string errorIn(const std::string& text, const std::string& url = kUrl) {
    return errorOf([&] { parse(text, url); });
}

TEST(HlsVariables, ArePutIntoUrisStringsAndHexadecimals) {
    const HlsPlaylist playlist =
        parse(media("#EXT-X-DEFINE:NAME=\"p\",VALUE=\"part\"\n"
                    "#EXT-X-DEFINE:NAME=\"n-1_B\",VALUE=\"0025\"\n"
                    "#EXT-X-KEY:METHOD=AES-128,URI=\"{$p}/key\","
                    "IV=0x0000000000000000000000000000{$n-1_B}\n"
                    "#EXT-X-MAP:URI=\"{$p}.mp4\",BYTERANGE=\"{$n-1_B}@0\"\n",
                    "x/{$p}-{$p}{$n-1_B}.ts"));
    const auto& segment = playlist.segments.at(0);
    EXPECT_EQ(segment.uri, "x/part-part0025.ts");
    EXPECT_EQ(segment.key->uri, "part/key");
    EXPECT_EQ(segment.key->iv, "0x00000000000000000000000000000025");
    EXPECT_EQ(segment.map->uri, "part.mp4");
}

TEST(HlsVariables, ArePutInOnce) {
    const HlsPlaylist playlist = parse(media("#EXT-X-DEFINE:NAME=\"b\",VALUE=\"1\"\n"
                                             "#EXT-X-DEFINE:QUERYPARAM=\"a\"\n",
                                             "{$a}.ts"),
                                       "http://h/a?a=%7B$b%7D");
    EXPECT_EQ(playlist.segments.at(0).uri, "{$b}.ts");
    EXPECT_EQ(parse(media("", "{$}{$a b}{$")).segments.at(0).uri, "{$}{$a b}{$")
        << "what is no reference stays";
}

TEST(HlsVariables, ThatAreNotDefinedAreRefusedByName) {
    EXPECT_EQ(errorIn(media("", "a{$bar}.mp4")),
              "http://h/a.m3u8:3: a variable that is not defined: \"bar\"");
    EXPECT_EQ(errorIn(media("#EXT-X-MAP:URI=\"{$bar}\"\n")),
              "http://h/a.m3u8:2: a variable that is not defined: \"bar\"");
    EXPECT_EQ(errorIn(media("#EXT-X-MAP:URI=\"{$a}\"\n#EXT-X-DEFINE:NAME=\"a\",VALUE=\"\"\n")),
              "http://h/a.m3u8:2: a variable that is not defined: \"a\"")
        << "it is not defined yet";
}

TEST(HlsVariables, OfNothingMakeNoUri) {
    EXPECT_EQ(errorIn(media("#EXT-X-DEFINE:NAME=\"a\",VALUE=\"\"\n", "{$a}")),
              "http://h/a.m3u8:4: a URI without a character: \"{$a}\"");
}

TEST(HlsVariables, DefinitionsAreChecked) {
    const auto error = [](const std::string& attributes) {
        return errorIn(media("#EXT-X-DEFINE:" + attributes + "\n"));
    };
    const std::string at = "http://h/a.m3u8:2: ";
    const std::string one = at + "#EXT-X-DEFINE without exactly one of NAME, IMPORT and QUERYPARAM";
    EXPECT_EQ(error("VALUE=\"v\""), one);
    EXPECT_EQ(error("NAME=\"a\",VALUE=\"v\",QUERYPARAM=\"a\""), one);
    EXPECT_EQ(error("NAME=\"a b\",VALUE=\"v\""), at + "not the name of a variable: \"a b\"");
    EXPECT_EQ(error("NAME=\"\",VALUE=\"v\""), at + "not the name of a variable: \"\"");
    EXPECT_EQ(error("NAME=\"a\""), at + "a variable without a VALUE: \"a\"");
    EXPECT_EQ(error("QUERYPARAM=\"a\""), at + "no query parameter \"a\" in the playlist's URL");
    EXPECT_EQ(error("IMPORT=\"a\""), at + "no variable \"a\" to import from a master playlist");
    EXPECT_EQ(errorIn(media("#EXT-X-DEFINE:NAME=\"a\",VALUE=\"\"\n"
                            "#EXT-X-DEFINE:NAME=\"a\",VALUE=\"\"\n")),
              "http://h/a.m3u8:3: a variable that is defined twice: \"a\"");
}

TEST(HlsVariables, ComeFromTheQueryDecoded) {
    const std::string text = media("#EXT-X-DEFINE:QUERYPARAM=\"token\"\n", "a.ts?{$token}");
    EXPECT_EQ(parse(text, "http://h/a.m3u8?x=1&token=a%20b%2Fc&y#token=z").segments.at(0).uri,
              "a.ts?a b/c");
}

TEST(HlsVariables, CannotStandForAllMemory) {
    std::string text =
        "#EXTM3U\n#EXT-X-DEFINE:NAME=\"a\",VALUE=\"" + std::string(1 << 20, 'a') + "\"\n";
    for (int i = 0; i < 20; ++i)
        text += "#EXTINF:1,\n{$a}\n";
    EXPECT_EQ(errorIn(text), "http://h/a.m3u8:36: variables that stand for too much text");
}

TEST(HlsVariables, OfTheMasterPlaylistAreImportedIntoEveryPlaylist) {
    Documents documents;
    documents.set(
        "http://h/m?cdn=x%2fy",
        "#EXTM3U\n#EXT-X-DEFINE:QUERYPARAM=\"cdn\"\n#EXT-X-DEFINE:NAME=\"t\",VALUE=\"7\"\n"
        "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"g\",NAME=\"n\",URI=\"{$cdn}/audio\"\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"g\"\n{$cdn}/video\n");
    const std::string imports = "#EXT-X-DEFINE:IMPORT=\"t\"\n";
    documents.set("http://h/x/y/video", media(imports, "v-{$t}.ts") + "#EXT-X-ENDLIST\n");
    documents.set("http://h/x/y/audio", media(imports, "a-{$t}.ts") + "#EXT-X-ENDLIST\n");
    const auto presentation = hastool::openPresentation("http://h/m?cdn=x%2fy", documents.fetcher(),
                                                        std::chrono::milliseconds(0));
    EXPECT_EQ(nextUrl(*presentation, 0), "http://h/x/y/v-7.ts");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/x/y/a-7.ts");
}

TEST(HlsVariables, WarningsOfAPlaylistAreToldOnce) {
    Documents documents;
    documents.set(kUrl, media("") + "#EXT-X-ENDLIST\n#EXTINF:2,\n");
    const auto presentation =
        hastool::openPresentation(kUrl, documents.fetcher(), std::chrono::milliseconds(0));
    EXPECT_EQ(nextUrl(*presentation), "http://h/a.ts");
    EXPECT_EQ(nextUrl(*presentation), "end");
    const std::vector<std::string> expected = {
        "http://h/a.m3u8:5: #EXTINF without a URI; left out"};
    EXPECT_EQ(presentation->takeWarnings(), expected);
    EXPECT_TRUE(presentation->takeWarnings().empty());
}

TEST(QueryParameter, IsFoundByItsName) {
    EXPECT_EQ(queryParameter("http://h/p?a=1&b=2", "b"), "2");
    EXPECT_EQ(queryParameter("http://h/p?a=1&a=2", "a"), "1");
    EXPECT_EQ(queryParameter("http://h/p?a=", "a"), "");
    EXPECT_EQ(queryParameter("http://h/p?%61=%zz%4", "a"), "%zz%4");
    EXPECT_EQ(queryParameter("http://h/p?ab=1", "a"), std::nullopt);
    EXPECT_EQ(queryParameter("http://h/p?a", "a"), std::nullopt);
    EXPECT_EQ(queryParameter("http://h/p", "a"), std::nullopt);
    EXPECT_EQ(queryParameter("http://h/p#?a=1", "a"), std::nullopt);
}

} // namespace
