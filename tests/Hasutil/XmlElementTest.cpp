#include <Hasutil/HssXPathReader.h>
#include <Hasutil/XmlElement.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using hascommon::HssXPathReader;
using hascommon::XmlElement;

constexpr const char* kManifest = R"(<?xml version="1.0"?>
<!DOCTYPE MPD [<!ENTITY name "one &amp; two">]>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013" type="static">
  <!-- what is between elements is passed over -->
  text
  <Period id="&name;"><cenc:pssh>AA<b>BB</b><![CDATA[<CC>]]></cenc:pssh></Period>
  <Period id="" cenc:default_KID="k"/>
</MPD>)";

class Elements : public testing::Test {
protected:
    void SetUp() override {
        HssXPathReader::InitLibXML();
        const std::string text = kManifest;
        m_reader.Load(text.data(), static_cast<int>(text.size()));
        m_root = m_reader.GetXmlElement("/*");
    }
    void TearDown() override {
        m_reader.Free();
        HssXPathReader::FreeLibXML();
    }

    HssXPathReader m_reader;
    XmlElement m_root;
};

TEST_F(Elements, OfADocumentWithADefaultNamespaceHaveTheirLocalNames) {
    ASSERT_TRUE(m_root);
    EXPECT_EQ(m_root.Name(), "MPD");
    EXPECT_EQ(m_root.FirstChild().FirstChild().Name(), "pssh");
}

TEST_F(Elements, AreWalkedInOrderPastTextAndComments) {
    std::vector<std::string> names;
    for (XmlElement it = m_root.FirstChild(); it; it = it.Next())
        names.push_back(it.Name() + "=" + it.Attribute("id"));
    EXPECT_EQ(names, (std::vector<std::string>{"Period=one & two", "Period="}));
}

TEST_F(Elements, TellAnEmptyAttributeFromOneThatIsNotThere) {
    const XmlElement second = m_root.FirstChild().Next();
    EXPECT_TRUE(second.HasAttribute("id"));
    EXPECT_FALSE(second.HasAttribute("start"));
    EXPECT_EQ(second.Attribute("start"), "");
}

TEST_F(Elements, FindAnAttributeByItsLocalName) {
    const XmlElement second = m_root.FirstChild().Next();
    EXPECT_EQ(second.Attribute("default_KID"), "k");
    EXPECT_EQ(second.Attribute("cenc:default_KID"), "");
}

TEST_F(Elements, JoinAllTextInside) {
    EXPECT_EQ(m_root.FirstChild().FirstChild().Text(), "AABB<CC>");
    EXPECT_EQ(m_root.FirstChild().Next().Text(), "");
}

TEST_F(Elements, AreEqualWhenTheyAreTheSame) {
    EXPECT_TRUE(m_root.FirstChild() == m_reader.GetXmlElement("/*/*[1]"));
    EXPECT_TRUE(m_root.FirstChild() != m_root.FirstChild().Next());
}

TEST_F(Elements, ComeFromNoOtherKindOfNode) {
    EXPECT_FALSE(m_reader.GetXmlElement("/*/@type"));
    EXPECT_FALSE(m_reader.GetXmlElement("/*/text()"));
    EXPECT_FALSE(m_reader.GetXmlElement("count(/*)"));
    EXPECT_FALSE(m_reader.GetXmlElement("/*["));
    EXPECT_FALSE(m_reader.GetXmlElement(nullptr));
}

TEST(NoElement, IsEmptyInEveryRespect) {
    HssXPathReader empty;
    for (const XmlElement& none : {XmlElement(), empty.GetXmlElement("/*")}) {
        EXPECT_FALSE(none);
        EXPECT_EQ(none.Name(), "");
        EXPECT_EQ(none.Text(), "");
        EXPECT_EQ(none.Attribute("id"), "");
        EXPECT_FALSE(none.HasAttribute("id"));
        EXPECT_FALSE(none.FirstChild());
        EXPECT_FALSE(none.Next());
        EXPECT_TRUE(none == XmlElement());
    }
}

TEST_F(Elements, HaveNoAttributeWithoutAName) {
    EXPECT_FALSE(m_root.HasAttribute(nullptr));
    EXPECT_EQ(m_root.Attribute(nullptr), "");
}

} // namespace
