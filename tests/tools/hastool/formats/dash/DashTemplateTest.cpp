#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/dash/DashTemplate.h>

#include <gtest/gtest.h>

namespace {

using test::errorOf;

std::string expand(const std::string& text) {
    return hastool::expandDashTemplate(text, {"v1", 42, 300000, 1234567890123456789}, "m.mpd");
}

TEST(DashTemplate, ReplacesEveryIdentifier) {
    EXPECT_EQ(expand("$RepresentationID$/$Bandwidth$/$Number$-$Time$.m4s"),
              "v1/300000/42-1234567890123456789.m4s");
}

TEST(DashTemplate, PadsNumbersToAWidth) {
    EXPECT_EQ(expand("$Number%05d$"), "00042");
    EXPECT_EQ(expand("$Number%01d$"), "42");
    EXPECT_EQ(expand("$Bandwidth%08d$"), "00300000");
    EXPECT_EQ(expand("$Time%020d$"), "01234567890123456789");
}

TEST(DashTemplate, KeepsADoubledDollarAsOne) {
    EXPECT_EQ(expand("a$$b$Number$"), "a$b42");
}

TEST(DashTemplate, LeavesTextWithoutIdentifiersAlone) {
    EXPECT_EQ(expand("init.mp4"), "init.mp4");
    EXPECT_EQ(expand(""), "");
}

TEST(DashTemplate, RefusesWhatItDoesNotKnow) {
    for (const char* const text : {"$Nummer$", "$Number", "$number$", "$Number%5d$", "$Number%0d$",
                                   "$Number%099d$", "$Number%05x$", "$RepresentationID%05d$"})
        EXPECT_NE(errorOf([&] { expand(text); }).find("m.mpd: a template"), std::string::npos)
            << text;
}

} // namespace
