#include <hastool/base/HtmlText.h>

#include <stdexcept>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::escapeHtml;
using hastool::fixedText;
using hastool::scriptJson;
using nlohmann::ordered_json;

TEST(HtmlText, EscapesWhatHtmlWouldTakeForItsOwn) {
    EXPECT_EQ(escapeHtml("<a href=\"x\">'&amp;"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;amp;");
    EXPECT_EQ(escapeHtml("plain text, grün"), "plain text, grün");
    EXPECT_EQ(escapeHtml(""), "");
}

TEST(HtmlText, ReplacesWhatIsNoTextByAMark) {
    EXPECT_EQ(escapeHtml("a\xFF<"), "a\xEF\xBF\xBD&lt;") << "not UTF-8";
    EXPECT_EQ(escapeHtml("a\xE2\x80<"), "a\xEF\xBF\xBD&lt;") << "cut short";
    EXPECT_EQ(escapeHtml(std::string_view("a\0b\x01\x7F", 5)), "a\xEF\xBF\xBD"
                                                               "b\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(escapeHtml("a\tb\r\n"), "a\tb\r\n");
}

TEST(HtmlText, WritesJsonThatCannotEndItsScript) {
    const std::string evil = "</script><!-- ]]> & \xE2\x80\xA8\xE2\x80\xA9 \xFF \"\\";
    const std::string text = scriptJson({{"a", evil}});
    EXPECT_EQ(text.find_first_of("<>&"), std::string::npos);
    for (const char letter : text)
        EXPECT_LT(static_cast<unsigned char>(letter), 0x80);
    EXPECT_EQ(ordered_json::parse(text)["a"],
              "</script><!-- ]]> & \xE2\x80\xA8\xE2\x80\xA9 \xEF\xBF\xBD \"\\");
}

TEST(HtmlText, WritesNumbersWithSoManyDigits) {
    EXPECT_EQ(fixedText(1.25, 3), "1.250");
    EXPECT_EQ(fixedText(-2, 0), "-2");
    EXPECT_EQ(fixedText(1e300, 3).size(), 63U);
}
