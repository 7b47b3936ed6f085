// The answers to expressions of every kind.
#include <Hasutil/HssXPathReader.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

using hascommon::HssXPathReader;
using hascommon::XPathAnswer;
using Kind = hascommon::XPathAnswer::Kind;

class XPathAnswers : public ::testing::Test {
protected:
    XPathAnswers() {
        const std::string text =
            "<a><b n='12'>7<c>8</c></b><!-- x --><b n='y'><![CDATA[<z>]]></b></a>";
        reader.Load(text.data(), static_cast<int>(text.size()));
    }

    HssXPathReader reader;
};

TEST_F(XPathAnswers, NodesComeInDocumentOrderWithTheirText) {
    const XPathAnswer answer = reader.Evaluate("/a/b[2] | /a/b[1]");
    EXPECT_EQ(answer.kind, Kind::Nodes);
    EXPECT_EQ(answer.nodes, (std::vector<std::string>{"78", "<z>"}));
    EXPECT_EQ(answer.text, "78");
    EXPECT_TRUE(answer.boolean);
    EXPECT_EQ(answer.number, 78);
}

TEST_F(XPathAnswers, NodesOfEveryKindHaveAValue) {
    EXPECT_EQ(reader.Evaluate("//@n").nodes, (std::vector<std::string>{"12", "y"}));
    EXPECT_EQ(reader.Evaluate("//text()").nodes, (std::vector<std::string>{"7", "8", "<z>"}));
    EXPECT_EQ(reader.Evaluate("//comment()").nodes, (std::vector<std::string>{" x "}));
    EXPECT_EQ(reader.Evaluate("/").nodes, (std::vector<std::string>{"78<z>"}));
    EXPECT_EQ(reader.Evaluate("/a/namespace::*").kind, Kind::Nodes);
}

TEST_F(XPathAnswers, NodeSetMayBeEmpty) {
    const XPathAnswer answer = reader.Evaluate("/a/none");
    EXPECT_EQ(answer.kind, Kind::Nodes);
    EXPECT_TRUE(answer.nodes.empty());
    EXPECT_EQ(answer.text, "");
    EXPECT_FALSE(answer.boolean);
    EXPECT_TRUE(std::isnan(answer.number));
}

TEST_F(XPathAnswers, NumbersTruthValuesAndStrings) {
    const XPathAnswer number = reader.Evaluate("count(//b) + 0.5");
    EXPECT_EQ(number.kind, Kind::Number);
    EXPECT_EQ(number.number, 2.5);
    EXPECT_EQ(number.text, "2.5");
    const XPathAnswer truth = reader.Evaluate("//c = 8");
    EXPECT_EQ(truth.kind, Kind::Boolean);
    EXPECT_TRUE(truth.boolean);
    EXPECT_EQ(truth.text, "true");
    const XPathAnswer text = reader.Evaluate("concat(//c, '!')");
    EXPECT_EQ(text.kind, Kind::Text);
    EXPECT_EQ(text.text, "8!");
    EXPECT_TRUE(text.nodes.empty());
}

TEST_F(XPathAnswers, WhatIsNoExpressionIsToldInLibXmlsWords) {
    for (int i = 0; i < 2; ++i) { // The first call leaves no trace for the second.
        EXPECT_EQ(reader.Evaluate("///[").kind, Kind::Error);
        EXPECT_EQ(reader.Evaluate("///[").text, "Invalid expression");
        EXPECT_EQ(reader.Evaluate("p:a").text, "Undefined namespace prefix");
        EXPECT_EQ(reader.Evaluate("nothing()").text, "Unregistered function");
        EXPECT_EQ(reader.Evaluate(nullptr).text, "no expression");
        EXPECT_EQ(reader.Evaluate("1").number, 1);
    }
}

TEST_F(XPathAnswers, WithoutADocumentThereIsNoValue) {
    HssXPathReader empty;
    EXPECT_EQ(empty.Evaluate("1").kind, Kind::Error);
    EXPECT_EQ(empty.Evaluate("1").text, "no document");
}

TEST(XPathAnswer, TextThatNestingMultipliesIsBounded) {
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "<a>";
    text += std::string(1000000, 'x');
    for (int i = 0; i < 200; ++i)
        text += "</a>";
    HssXPathReader reader;
    reader.Load(text.data(), static_cast<int>(text.size()));
    EXPECT_EQ(reader.Evaluate("/a").nodes.size(), 1U);
    const XPathAnswer answer = reader.Evaluate("//a");
    EXPECT_EQ(answer.kind, Kind::Error);
    EXPECT_EQ(answer.text, "more than 64 MiB of text");
    EXPECT_TRUE(answer.nodes.empty());
}

} // namespace
