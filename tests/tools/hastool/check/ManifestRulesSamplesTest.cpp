// What is said of every public manifest has been looked at, one by one: nothing is said that other
// parsers contradict.
#include "CheckedFolder.h"

#include <support/Samples.h>
#include <support/TempDir.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

Findings judgeSample(const std::string& path, CheckedFormat format) {
    Evidence evidence;
    CheckedDocument document;
    document.answer.ok = true;
    document.answer.isLocal = true;
    document.answer.finalUrl = "http://origin.test/manifest";
    document.text = test::readFile(path);
    document.tree = readManifestTree(document.text);
    evidence.format = format;
    evidence.documents.push_back(document);
    return judge(evidence);
}

/// How many files of a folder each error and warning is found in, of a family of rules.
std::map<std::string, size_t> filesByCode(const std::string& folder, const std::string& family) {
    std::map<std::string, size_t> counts;
    const auto format = family == "dash-" ? CheckedFormat::Dash : CheckedFormat::Smooth;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/manifests/" + folder)) {
        for (const std::string& code : codesOf(judgeSample(entry.path().string(), format))) {
            if (code.rfind(family, 0) == 0)
                ++counts[code];
        }
    }
    return counts;
}

using Counts = std::map<std::string, size_t>;

/// Most of them are from tests of parsers: fragments of manifests, and such with a fault each.
TEST(ManifestRulesSamples, DashIsJudgedAsItIs) {
    const Counts wanted{{"dash-alignment-missing", 2}, {"dash-attribute-missing", 43},
                        {"dash-attribute-value", 15},  {"dash-base-url-slash", 2},
                        {"dash-clock-missing", 53},    {"dash-codecs-missing", 7},
                        {"dash-duplicate-id", 7},      {"dash-duration-missing", 13},
                        {"dash-duration-sum", 5},      {"dash-key-id-form", 1},
                        {"dash-key-id-missing", 1},    {"dash-long-segment", 1},
                        {"dash-mime-type", 1},         {"dash-namespace", 31},
                        {"dash-period-gap", 1},        {"dash-pssh", 3},
                        {"dash-publish-time", 18},     {"dash-resolution-missing", 9},
                        {"dash-segments-missing", 1},  {"dash-segments-short", 6},
                        {"dash-set-mime-types", 3},    {"dash-start-time", 1},
                        {"dash-template-both", 1},     {"dash-template-length", 6},
                        {"dash-template-media", 7},    {"dash-update-period", 6}};
    EXPECT_EQ(filesByCode("public/dash", "dash-"), wanted);
    const Counts others{{"dash-attribute-missing", 1},  {"dash-clock-missing", 1},
                        {"dash-duplicate-id", 1},       {"dash-mime-type", 1},
                        {"dash-namespace", 1},          {"dash-publish-time", 2},
                        {"dash-resolution-missing", 1}, {"dash-segments-short", 1}};
    EXPECT_EQ(filesByCode("dash", "dash-"), others);
}

/// Their lists were shortened, which is what is told of.
TEST(ManifestRulesSamples, SmoothIsJudgedAsItIs) {
    const Counts wanted{
        {"smooth-chunk-count", 1}, {"smooth-index", 1}, {"smooth-segments-short", 1}};
    EXPECT_EQ(filesByCode("public/smooth", "smooth-"), wanted);
    EXPECT_EQ(filesByCode("smooth", "smooth-"), wanted);
}

/// Whether two representations of a period have the same id, by another parser.
bool hasSameIds(const nlohmann::json& manifest) {
    for (const auto& period : manifest["periods"]) {
        std::set<std::string> ids;
        for (const auto& it : period["representations"]) {
            if (!ids.insert(it["id"].is_string() ? it["id"].get<std::string>() : "").second)
                return true;
        }
    }
    return false;
}

TEST(ManifestRulesSamples, AgreeWithAnotherParser) {
    const auto expected = test::sampleJson("dev-expected/manifests.json").at("dash");
    size_t compared = 0;
    for (const auto& [name, other] : expected.items()) {
        const std::set<std::string> codes = codesOf(
            judgeSample(HAS_SAMPLES_DIR "/manifests/public/dash/" + name, CheckedFormat::Dash));
        const bool isOpen = other["type"] == "static" && !other["periods"].empty() &&
                            other["periods"].back()["duration"].is_null();
        EXPECT_EQ(codes.count("dash-duration-missing"), isOpen ? 1U : 0U) << name;
        if (codes.count("dash-duplicate-id") != 0) {
            EXPECT_TRUE(hasSameIds(other)) << name;
        }
        if (codes.count("dash-start-time") != 0) {
            EXPECT_EQ(other["type"], "dynamic") << name;
        }
        ++compared;
    }
    EXPECT_EQ(compared, expected.size());
}

} // namespace
