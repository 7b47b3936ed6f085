// All public playlists are judged. Where a strict parser takes one in which an error is found, a
// table says why it is one.
#include "CheckedFolder.h"

#include <hastool/base/ToolError.h>
#include <support/Samples.h>
#include <support/TempDir.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using hastool::Finding;
using hastool::Findings;
using hastool::Severity;
using nlohmann::json;

constexpr char kFolder[] = HAS_SAMPLES_DIR "/manifests/public/hls/";

/// Playlists by their numbers, and an error that a strict parser does not see.
struct Row {
    const char* code;
    const char* files;
    const char* why;
};

const Row kUnseen[] = {
    {"hls-attribute-list", "0585", "a quotation mark stands behind DEFAULT=YES"},
    {"hls-attribute-type", "0241 0324",
     "RFC 8216, 4.3.2.5: BYTERANGE of a map is quoted; 4.3.4.2: BANDWIDTH has no fraction"},
    {"hls-date-range-twice", "0537", "RFC 8216, 4.3.2.7: one ID has one START-DATE"},
    {"hls-forced", "0764", "RFC 8216, 4.3.4.1: FORCED is for subtitles alone"},
    {"hls-key-none", "0339", "RFC 8216, 4.3.2.4: there is no URI beside METHOD=NONE"},
    {"hls-map-iv", "0366", "RFC 8216, 4.3.2.5: an encrypted map needs a vector"},
    {"hls-missing-uri", "0387", "it ends with an #EXTINF"},
    {"hls-nothing-to-play", "0293 0302 0379 0623 0626 0877",
     "they have neither segments nor variants, which the parser counts too"},
    {"hls-part-hold-back", "0472 0473 0474 0687 0701 0703 0713",
     "RFC 8216bis, 4.4.3.8: two part target durations at least; here it is one"},
    {"hls-stray-uri", "0714", "a segment has no #EXTINF"},
    {"hls-tag-value", "0280 0380 0962 0973 1022 1061 1082",
     "a negative or broken duration, number, date, type or version"},
    {"hls-version-low", "0987 0994 0996", "RFC 8216bis, 8: #EXT-X-DEFINE needs version 8"},
};

std::vector<std::string> names() {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(kFolder))
        result.push_back(entry.path().filename().string());
    return result;
}

/// What is found in a playlist; its variants cannot be had.
Findings judged(const std::string& name) {
    CheckedFolder folder;
    folder.file("list.m3u8") = test::readFile(kFolder + name);
    hastool::CheckOptions options;
    options.manifestOnly = true;
    options.liveSeconds = 0;
    return folder.check("list.m3u8", options);
}

bool isOfHls(const Finding& finding) {
    return std::string(finding.rule->code).compare(0, 4, "hls-") == 0;
}

/// Number and code of each row's files.
std::set<std::string> expectedUnseen() {
    std::set<std::string> result;
    for (const Row& row : kUnseen) {
        std::istringstream files(row.files);
        for (std::string number; files >> number;)
            result.insert(number + " " + row.code);
    }
    return result;
}

TEST(HlsRulesSamples, FindNoErrorThatAStrictParserContradicts) {
    const json expected = test::sampleJson("dev-expected/manifests.json").at("hls");
    std::set<std::string> unseen;
    for (const std::string& name : names()) {
        const Findings findings = judged(name);
        for (const Finding& it : findings.all()) {
            const bool isError = isOfHls(it) && it.rule->severity == Severity::Error;
            if (isError && expected.at(name).at("strict").get<bool>())
                unseen.insert(name.substr(0, 4) + " " + it.rule->code);
        }
    }
    EXPECT_EQ(unseen, expectedUnseen());
}

TEST(HlsRulesSamples, NameLinesThatThereAre) {
    for (const std::string& name : names()) {
        const std::string text = test::readFile(kFolder + name);
        const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        const Findings findings = judged(name);
        for (const Finding& it : findings.all()) {
            if (!isOfHls(it))
                continue;
            const std::string where = it.place.where;
            const std::string url = std::string(CheckedFolder::kUrl) + "list.m3u8";
            ASSERT_EQ(where.compare(0, url.size(), url), 0) << name << where;
            if (where.size() == url.size())
                continue;
            EXPECT_LE(std::stoul(where.substr(url.size() + 1)), lines) << name << where;
            EXPECT_EQ(it.text.find('\n'), std::string::npos) << name << it.text;
        }
    }
}

TEST(HlsRulesSamples, AreSilentOnPlaylistsMadeWithCare) {
    for (const std::string& name : names()) {
        const bool isOfStandard = name.find("bipbop") != std::string::npos ||
                                  name.find("apple-multivariant") != std::string::npos ||
                                  name.find("8.1-Simple") != std::string::npos;
        if (!isOfStandard)
            continue;
        const Findings findings = judged(name);
        for (const Finding& it : findings.all())
            EXPECT_FALSE(isOfHls(it)) << name << ": " << it.rule->code << " " << it.text;
    }
}

} // namespace
