#include <hastool/base/PageTemplate.h>

#include <stdexcept>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::renderPage;
using nlohmann::ordered_json;

namespace {

std::string render(const std::string& text, const char* values) {
    return renderPage(text, ordered_json::parse(values));
}

} // namespace

TEST(PageTemplate, PutsInValues) {
    EXPECT_EQ(render("a {{x}}, {{y}}{{x}}", R"({"x": "<b>", "y": 7})"), "a &lt;b&gt;, 7&lt;b&gt;");
    EXPECT_EQ(render("{{&x}}", R"({"x": "<b>"})"), "<b>");
    EXPECT_EQ(render("{{&x}}{{x}}", R"({"x": "{{y}}"})"), "{{y}}{{y}}");
}

TEST(PageTemplate, RepeatsAPartForEachOfAList) {
    const std::string text = "{{#rows}}<{{x}}{{y}}>{{/rows}}{{^rows}}none{{/rows}}";
    EXPECT_EQ(render(text, R"({"rows": [{"x": 1}, {"x": 2, "y": "b"}], "y": "a"})"), "<1a><2b>");
    EXPECT_EQ(render(text, R"({"rows": []})"), "none");
}

TEST(PageTemplate, PartsStandInEachOther) {
    EXPECT_EQ(render("{{#a}}({{#b}}{{x}}{{/b}}){{/a}}",
                     R"({"a": [{"b": [{"x": 1}, {"x": 2}]}, {"b": []}]})"),
              "(12)()");
}

TEST(PageTemplate, LeavesOutWhatThereIsNot) {
    const std::string text = "{{#x}}[{{x}}]{{/x}}{{^x}}-{{/x}}";
    EXPECT_EQ(render(text, R"({"x": "a"})"), "[a]");
    EXPECT_EQ(render(text, R"({"x": 0})"), "[0]");
    EXPECT_EQ(render(text, R"({"x": true})"), "[true]");
    for (const char* const nothing : {R"({"x": ""})", R"({"x": false})", R"({"x": null})"})
        EXPECT_EQ(render(text, nothing), "-") << nothing;
}

TEST(PageTemplate, RefusesWhatCannotBeFilled) {
    for (const char* const text : {"{{y}}", "{{&y}}", "{{#y}}{{/y}}", "{{#x}}", "{{x"})
        EXPECT_THROW(render(text, R"({"x": "a"})"), std::out_of_range) << text;
}
