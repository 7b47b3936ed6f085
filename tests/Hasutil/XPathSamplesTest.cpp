#include <Hasutil/HssXPathReader.h>
#include <support/ExactBytes.h>
#include <support/Samples.h>

#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace {

using hascommon::HssXPathReader;
using test::ExactBytes;

/// A query for attributes, taken apart into the elements that carry them and their name. Prefixes
/// become tests of the namespace, because the reader registers none.
struct AttributeQuery {
    std::string elements;
    std::string name;
};

std::string withoutPrefixes(const std::string& xpath, const std::string& space) {
    static const std::regex prefixed("mpd:([A-Za-z]+)");
    return std::regex_replace(xpath, prefixed,
                              "*[local-name()='$1' and namespace-uri()='" + space + "']");
}

/// Empty for queries of other kinds.
AttributeQuery attributeQuery(const std::string& xpath, const std::string& space) {
    static const std::regex attribute("(.*[^/|])/@([A-Za-z]+)");
    std::smatch parts;
    if (xpath.find('|') != std::string::npos || !std::regex_match(xpath, parts, attribute))
        return {};
    const std::string elements = withoutPrefixes(parts[1], space);
    if (std::regex_search(elements, std::regex("[a-z]:[A-Za-z]")))
        return {};
    return {"(" + elements + ")[@" + parts[2].str() + "]", parts[2]};
}

TEST(XPathSamples, FirstAttributesAreThoseOfTwoOtherEngines) {
    const nlohmann::json expected = test::sampleJson("dev-expected/xpath.json");
    const std::string space = expected["namespaces"]["mpd"];
    int asked = 0;
    for (const auto& file : expected["files"]) {
        SCOPED_TRACE(file["file"].get<std::string>());
        HssXPathReader reader;
        const std::string path = HAS_SAMPLES_DIR "/" + file["file"].get<std::string>();
        EXPECT_FALSE(reader.Load(path.c_str()));
        ASSERT_TRUE(reader.IsLoaded());
        for (const auto& query : file["queries"]) {
            const AttributeQuery parts = attributeQuery(query["xpath"], space);
            if (parts.name.empty())
                continue;
            const auto& values = query["value"];
            const std::string first = values.empty() ? "" : values[0].get<std::string>();
            EXPECT_EQ(reader.GetXmlParamAttr(parts.elements.c_str(), parts.name.c_str()), first)
                << query["xpath"];
            ++asked;
        }
    }
    EXPECT_GT(asked, 40);
}

TEST(XPathSamples, BrokenManifestsAreRefused) {
    const nlohmann::json expected = test::sampleJson("dev-expected/xpath.json");
    for (const auto& file : expected["unparsable"]) {
        const ExactBytes bytes = test::sample(file["file"]);
        HssXPathReader reader;
        EXPECT_FALSE(reader.Load(reinterpret_cast<const char*>(bytes.data()), bytes.intSize()));
        EXPECT_FALSE(reader.IsLoaded());
    }
}

TEST(XPathSamples, TextsOfADocumentWithEverythingInIt) {
    HssXPathReader reader;
    reader.Load(HAS_SAMPLES_DIR "/manifests/generated_edge.xml");
    ASSERT_TRUE(reader.IsLoaded());
    EXPECT_EQ(reader.GetXmlParamStr("//*[@id='2']/text()"), "<raw> & text");
    EXPECT_EQ(reader.GetXmlParamStr("//item/text()"), "no namespace");
    EXPECT_EQ(reader.GetXmlParamStr("//*[@id='5']/text()"), "\xC3\xBCmlaut");
    // Of two attributes that differ in their namespace the first answers.
    EXPECT_EQ(reader.GetXmlParamAttr("/*", "attr"), "single \"quoted\"");
    EXPECT_EQ(reader.GetXmlParamFloat("//*[local-name()='n'][3]/text()"), 2.5);
    EXPECT_EQ(reader.GetXmlParamInt("//*[local-name()='n'][4]/text()"), -3);
}

} // namespace
