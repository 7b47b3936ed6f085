#include "CheckedFolder.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace hastool;
using Codes = std::set<std::string>;

CheckOptions manifestOnly() {
    CheckOptions options;
    options.manifestOnly = true;
    return options;
}

TEST(PresentationRules, TellOfAManifestThatCannotBeRead) {
    CheckedFolder folder("smooth");
    folder.replace("Manifest", "</SmoothStreamingMedia>", "");
    EXPECT_EQ(folder.codes("Manifest"), Codes{"manifest-unreadable"});
}

TEST(PresentationRules, TellOfAPlaylistThatIsAPage) {
    CheckedFolder folder("hls");
    folder.file("2/index.m3u8") = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nx.m3u8\n";
    const Findings findings = folder.check("master.m3u8", manifestOnly());
    EXPECT_GE(findings.count(Severity::Error), 1u) << linesOf(findings);
}

TEST(PresentationRules, TellOfARenditionWithoutATellableEnd) {
    Evidence evidence;
    evidence.renditions.emplace_back();
    evidence.renditions[0].name = "one";
    evidence.renditions[0].trouble = "nothing says how many segments there are";
    EXPECT_EQ(codesOf(judge(evidence)), Codes{"rendition-unreadable"});
}

TEST(PresentationRules, TellOfPartsThatAreLeftOut) {
    Evidence evidence;
    evidence.renditions.emplace_back();
    evidence.renditions[0].segments.emplace_back();
    evidence.master.warnings = {"a variant without a URI"};
    EXPECT_EQ(codesOf(judge(evidence)).count("manifest-part-unusable"), 1u);
}

TEST(PresentationRules, TellOfAPresentationWithoutSegments) {
    EXPECT_EQ(codesOf(judge(Evidence())), Codes{"presentation-empty"});
}

TEST(PresentationRules, TellWhenTheTimeWasUp) {
    CheckedFolder folder("dash");
    Evidence evidence = folder.gather("manifest.mpd", manifestOnly());
    evidence.cutShort = "the time was up";
    EXPECT_EQ(codesOf(judge(evidence)), Codes{"check-incomplete"});
}

} // namespace
