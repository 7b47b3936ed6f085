// What servers do to a good presentation.
#include "CheckedFolder.h"

#include <gtest/gtest.h>

namespace {

using namespace hastool;
using Codes = std::set<std::string>;

Codes allCodes(const Findings& findings) {
    return codesOf(findings, Severity::Note);
}

/// Judges as if what is inside the segments had been told from their bytes already.
Findings judgeAs(SegmentFacts::Kind kind, CheckedFolder& folder, const std::string& manifest,
                 const std::string& path) {
    Evidence evidence = folder.gather(manifest);
    for (CheckedRendition& rendition : evidence.renditions) {
        for (CheckedSegment& it : rendition.segments) {
            if (it.answer.resource.url.find(path) != std::string::npos)
                it.facts.kind = kind;
        }
    }
    return judge(evidence);
}

/// A live presentation of MPEG-TS that is as it should be; its segments are those of "hls".
class LiveHls {
public:
    LiveHls()
        : m_folder("hls") {
        std::string playlist = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n"
                               "#EXT-X-MEDIA-SEQUENCE:1\n";
        for (int i = 1; i <= 4; ++i)
            playlist += "#EXTINF:2.0,\n0/" + std::to_string(i) + ".ts\n";
        m_folder.file("live.m3u8") = playlist;
    }

    CheckedFolder& folder() { return m_folder; }
    Codes codes() {
        CheckOptions options;
        options.liveSeconds = 1;
        return allCodes(m_folder.check("live.m3u8", options));
    }

private:
    CheckedFolder m_folder;
};

TEST(DeliveryRules, AreSilentOnWhatIsRight) {
    for (const auto& [folder, manifest] :
         {std::pair("hls", "master.m3u8"), std::pair("hls-aes", "master.m3u8"),
          std::pair("dash", "manifest.mpd"), std::pair("dash-cenc", "manifest.mpd"),
          std::pair("dash-muxed", "manifest.mpd"), std::pair("smooth", "Manifest")}) {
        CheckedFolder presentation(folder);
        const Findings findings = presentation.check(manifest);
        EXPECT_EQ(codesOf(findings), Codes()) << folder << "\n" << linesOf(findings);
        for (const std::string& code : allCodes(findings)) {
            EXPECT_EQ(code.rfind("http-", 0), std::string::npos) << folder << code;
            EXPECT_EQ(code.rfind("dash-", 0), std::string::npos) << folder << code;
            EXPECT_EQ(code.rfind("smooth-", 0), std::string::npos) << folder << code;
        }
    }
}

TEST(DeliveryRules, TellOfWhatCannotBeHad) {
    CheckedFolder folder("dash");
    folder.setStatus("chunk-stream0-00003.m4s", 404);
    const Findings findings = folder.check("manifest.mpd");
    ASSERT_EQ(codesOf(findings), Codes{"http-failed"}) << linesOf(findings);
    const Finding first = findings.sorted().front();
    EXPECT_EQ(first.text, "a segment: HTTP 404");
    EXPECT_EQ(first.place.segment, "segment 3");
    EXPECT_NE(first.place.where.find("chunk-stream0-00003.m4s"), std::string::npos);
}

TEST(DeliveryRules, TellOfPlaylistsInitsAndKeysThatCannotBeHad) {
    CheckedFolder playlist("hls");
    playlist.setStatus("2/index.m3u8", 503);
    EXPECT_EQ(codesOf(playlist.check("master.m3u8")), Codes{"http-failed"});
    CheckedFolder init("dash");
    init.setStatus("init-stream5.m4s", 403);
    EXPECT_EQ(codesOf(init.check("manifest.mpd")).count("http-failed"), 1U);
    CheckedFolder key("hls-aes");
    key.setStatus("2.key", 403);
    EXPECT_EQ(codesOf(key.check("master.m3u8")).count("http-failed"), 1U);
}

TEST(DeliveryRules, TellOfPagesInThePlaceOfSegments) {
    CheckedFolder folder("hls");
    folder.file("0/3.ts") = "<!DOCTYPE html><html><body>Please log in</body></html>";
    const Findings findings = judgeAs(SegmentFacts::Kind::Html, folder, "master.m3u8", "/0/3.ts");
    ASSERT_EQ(codesOf(findings), Codes{"http-page"}) << linesOf(findings);
    EXPECT_NE(findings.sorted().front().text.find("a segment is a web page of 54 B"),
              std::string::npos)
        << linesOf(findings);
}

TEST(DeliveryRules, TellOfPagesInThePlaceOfPlaylists) {
    CheckedFolder folder("hls");
    folder.file("0/index.m3u8") = "<!DOCTYPE html><html><body>Please log in</body></html>";
    EXPECT_EQ(codesOf(folder.check("master.m3u8")), Codes{"http-page"});
}

TEST(DeliveryRules, TellOfPagesInThePlaceOfManifestsLoadedAgain) {
    CheckedFolder folder("dash");
    Evidence evidence = folder.gather("manifest.mpd");
    evidence.documents.push_back(evidence.documents.front());
    CheckedDocument& again = evidence.documents.back();
    again.text = "<html><body>Please log in</body></html>";
    again.trouble = "not an MPD";
    again.tree = readManifestTree(again.text);
    EXPECT_EQ(codesOf(judge(evidence)), Codes{"http-page"});
}

TEST(DeliveryRules, TellOfPagesInThePlaceOfInits) {
    CheckedFolder folder("dash");
    Evidence evidence = folder.gather("manifest.mpd");
    evidence.renditions.front().inits.front().bytes = "<!doctype html><html></html>";
    EXPECT_EQ(codesOf(judge(evidence)), Codes{"http-page"});
}

TEST(DeliveryRules, TellOfTypesOfSomethingElse) {
    CheckedFolder folder("dash");
    folder.setHeader("manifest.mpd", "Content-Type", "text/plain; charset=utf-8");
    const Findings findings = folder.check("manifest.mpd");
    ASSERT_EQ(allCodes(findings), Codes{"http-content-type"}) << linesOf(findings);
    EXPECT_EQ(findings.all().front().text,
              "a manifest comes as \"text/plain\", not as application/dash+xml");
}

TEST(DeliveryRules, CountSegmentsOfAWrongType) {
    CheckedFolder folder("hls");
    for (const std::string& path : folder.paths("0/", ".ts"))
        folder.setHeader(path, "Content-Type", "text/vnd.trolltech.linguist");
    const Findings findings =
        judgeAs(SegmentFacts::Kind::TransportStream, folder, "master.m3u8", ".ts");
    ASSERT_EQ(codesOf(findings), Codes{"http-content-type"}) << linesOf(findings);
    EXPECT_EQ(findings.count(Severity::Warning), 1U);
    EXPECT_NE(findings.sorted().front().text.find("not as video/mp2t (21 times)"),
              std::string::npos)
        << linesOf(findings);
}

TEST(DeliveryRules, NoteTypesThatTellNothing) {
    CheckedFolder folder("dash");
    folder.setHeader("chunk-stream1-00002.m4s", "Content-Type", "application/octet-stream");
    const Findings findings =
        judgeAs(SegmentFacts::Kind::Fragments, folder, "manifest.mpd", "chunk-stream1");
    EXPECT_EQ(allCodes(findings), Codes{"http-content-type-missing"}) << linesOf(findings);
    CheckedFolder none("smooth");
    none.setHeader("Manifest", "Content-Type", "");
    EXPECT_EQ(allCodes(none.check("Manifest")).count("http-content-type-missing"), 1U);
}

TEST(DeliveryRules, TellOfPlaylistsThatNothingMarksAsSuch) {
    CheckedFolder folder("hls");
    folder.file("0/list") = folder.file("0/index.m3u8");
    folder.replace("master.m3u8", "0/index.m3u8", "0/list");
    folder.setHeader("0/list", "Content-Type", "text/plain");
    EXPECT_EQ(codesOf(folder.check("master.m3u8")), Codes{"http-playlist-type"});
    folder.setHeader("0/list", "Content-Type", "audio/mpegurl");
    EXPECT_EQ(codesOf(folder.check("master.m3u8")), Codes());
}

TEST(DeliveryRules, TellOfResponsesForTheirOwnHostOnly) {
    CheckedFolder folder("dash");
    folder.setHeader("init-stream0.m4s", "Access-Control-Allow-Origin", "");
    const Findings findings = folder.check("manifest.mpd");
    ASSERT_EQ(allCodes(findings), Codes{"http-cors"}) << linesOf(findings);
    EXPECT_NE(findings.all().front().text.find("no Access-Control-Allow-Origin in 1 of "),
              std::string::npos);
    EXPECT_EQ(findings.all().front().place.where, "http://media.test");
}

TEST(DeliveryRules, NoteLargeManifestsWithoutCompression) {
    CheckedFolder folder("dash");
    std::string& text = folder.file("manifest.mpd");
    text.insert(text.find("</MPD>"), "<!--" + std::string(50000, ' ') + "-->");
    EXPECT_EQ(allCodes(folder.check("manifest.mpd")), Codes{"http-compression"});
    folder.setHeader("manifest.mpd", "Content-Encoding", "gzip");
    EXPECT_EQ(allCodes(folder.check("manifest.mpd")), Codes());
}

TEST(DeliveryRules, NoteRedirects) {
    CheckedFolder folder("dash");
    folder.setRedirects("manifest.mpd", 1);
    folder.setRedirects("chunk-stream0-00001.m4s", 1);
    EXPECT_EQ(allCodes(folder.check("manifest.mpd")), Codes()) << "one, of the manifest";
    folder.setRedirects("manifest.mpd", 2);
    const Findings findings = folder.check("manifest.mpd");
    ASSERT_EQ(allCodes(findings), Codes{"http-redirects"}) << linesOf(findings);
    EXPECT_EQ(findings.all().front().text, "a manifest came through 2 redirects");
}

TEST(DeliveryRules, NoteRedirectsOfEverySegment) {
    CheckedFolder folder("dash");
    for (const std::string& path : folder.paths("chunk-stream0-"))
        folder.setRedirects(path, 1);
    const Findings findings = folder.check("manifest.mpd");
    ASSERT_EQ(allCodes(findings), Codes{"http-redirects"}) << linesOf(findings);
    EXPECT_EQ(findings.all().front().text, "21 of 21 segments came through redirects");
}

TEST(DeliveryRules, TellOfRangesThatAreIgnored) {
    CheckedFolder folder("dash-muxed");
    folder.setStatus("v0.mp4", 200);
    const Findings findings = folder.check("manifest.mpd");
    EXPECT_EQ(codesOf(findings), Codes{"http-range-ignored"}) << linesOf(findings);
}

TEST(DeliveryRules, TellOfPlainHttpBelowHttps) {
    CheckedFolder folder("dash");
    Evidence evidence = folder.gather("manifest.mpd");
    evidence.documents.front().answer.finalUrl = "https://media.test/manifest.mpd";
    const Findings findings = judge(evidence);
    EXPECT_EQ(codesOf(findings), Codes{"http-mixed"}) << linesOf(findings);
}

TEST(DeliveryRules, TellOfCachesThatHurtALivePlaylist) {
    LiveHls live;
    EXPECT_EQ(live.codes(), Codes());
    for (const auto& [value, wanted] :
         {std::pair("max-age=2", ""), std::pair("no-cache, max-age=600", ""),
          std::pair("max-age=3", "http-live-cache-long"),
          std::pair("public, s-maxage=6", "http-live-cache-long"),
          std::pair("max-age=7", "http-live-cache"),
          std::pair("max-age=\"86400\"", "http-live-cache")}) {
        live.folder().setHeader("live.m3u8", "Cache-Control", value);
        EXPECT_EQ(live.codes(), *wanted == '\0' ? Codes() : Codes{wanted}) << value;
    }
}

TEST(DeliveryRules, LetRecordedPlaylistsBeKept) {
    CheckedFolder folder("hls");
    for (const std::string& path : folder.paths("", ".m3u8"))
        folder.setHeader(path, "Cache-Control", "max-age=86400, immutable");
    EXPECT_EQ(allCodes(folder.check("master.m3u8")), Codes());
}

TEST(DeliveryRules, NoteSegmentsThatMayNotBeKept) {
    CheckedFolder folder("dash");
    for (const char* const value : {"no-store", "Private", "max-age=0"}) {
        folder.setHeader("chunk-stream0-00001.m4s", "Cache-Control", value);
        EXPECT_EQ(allCodes(folder.check("manifest.mpd")), Codes{"http-segment-cache"}) << value;
    }
}

TEST(DeliveryRules, AskEachServerForItsCertificateOnce) {
    CheckedFolder folder("dash");
    folder.setRedirects("chunk-stream0-00001.m4s", 1, "https://cdn.test:8443/1.m4s");
    folder.setRedirects("chunk-stream0-00002.m4s", 1, "https://cdn.test:8443/2.m4s");
    folder.setRedirects("chunk-stream0-00003.m4s", 1, "https://[::1]/3.m4s");
    std::vector<std::string> asked;
    CheckOptions options;
    options.probe = [&](const ProbedServer& server) {
        asked.push_back(server.host + " " + std::to_string(server.port));
        ServerCertificate certificate;
        certificate.host = server.host;
        certificate.daysLeft = server.port == 443 ? 100 : 1;
        return certificate;
    };
    const Findings findings = folder.check("manifest.mpd", options);
    EXPECT_EQ(asked, (std::vector<std::string>{"::1 443", "cdn.test 8443"}));
    EXPECT_EQ(codesOf(findings), Codes{"tls-ends-soon"}) << linesOf(findings);
}

TEST(DeliveryRules, SayNothingOfAFoldersHeaders) {
    CheckedFolder folder("dash");
    Evidence evidence = folder.gather("manifest.mpd");
    evidence.documents.front().answer.isLocal = true;
    evidence.documents.front().answer.head = ResponseHead();
    EXPECT_EQ(allCodes(judge(evidence)), Codes());
}

} // namespace
