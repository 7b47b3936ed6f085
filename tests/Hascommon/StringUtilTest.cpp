#include <Hascommon/StringUtil.h>

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <locale>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace hascommon;

struct Range {
    int first = 77;
    int last = 77;
    bool operator==(const Range& other) const { return first == other.first && last == other.last; }
};

Range rangeOf(const std::string& text, const std::string& separator = "-") {
    Range range;
    getRangePosFromString(text, &range.first, &range.last, separator);
    return range;
}

/// A C string whose terminator is the last byte of its heap block.
std::unique_ptr<char[]> exact(const std::string& text) {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    text.copy(copy.get(), text.size());
    return copy;
}

int compare(const std::string& a, const std::string& b, unsigned int n) {
    return has_strncasecmp(exact(a).get(), exact(b).get(), n);
}

TEST(IEqual, FoldsLettersInAllFourForms) {
    const std::string upper = "Content-Length";
    const char* const lower = "content-length";
    EXPECT_TRUE(has_iequal(upper, std::string(lower)));
    EXPECT_TRUE(has_iequal(upper, lower));
    EXPECT_TRUE(has_iequal(lower, upper));
    EXPECT_TRUE(has_iequal("Content-Length", lower));
}

TEST(IEqual, DifferentLengthsAreDifferentInAllFourForms) {
    EXPECT_FALSE(has_iequal(std::string("ab"), std::string("abc")));
    EXPECT_FALSE(has_iequal(std::string("abc"), "ab"));
    EXPECT_FALSE(has_iequal("ab", std::string("abc")));
    EXPECT_FALSE(has_iequal("ab", "abc"));
    EXPECT_FALSE(has_iequal("abc", "ab"));
}

TEST(IEqual, EmptyStringsAreEqual) {
    EXPECT_TRUE(has_iequal(std::string(), std::string()));
    EXPECT_TRUE(has_iequal(std::string(), ""));
    EXPECT_TRUE(has_iequal("", std::string()));
    EXPECT_TRUE(has_iequal("", ""));
}

TEST(IEqual, ANullCStringIsEqualToNothing) {
    const char* const null = nullptr;
    EXPECT_FALSE(has_iequal(null, "a"));
    EXPECT_FALSE(has_iequal("a", null));
    EXPECT_FALSE(has_iequal(null, null));
}

TEST(IEqual, FoldsOnlyAsciiLetters) {
    EXPECT_FALSE(has_iequal(std::string("["), std::string("{")));
    EXPECT_FALSE(has_iequal(std::string("@"), std::string("`")));
    EXPECT_FALSE(has_iequal(std::string("\xE4"), std::string("\xC4")));
    EXPECT_TRUE(has_iequal(std::string("azAZ"), std::string("AZaz")));
}

TEST(IEqual, EmbeddedZeroBytesCountInStrings) {
    EXPECT_FALSE(has_iequal(std::string("a\0b", 3), std::string("a\0c", 3)));
    EXPECT_FALSE(has_iequal(std::string("a\0b", 3), "a"));
}

TEST(Strncasecmp, NullOnEitherSideIsEqual) {
    EXPECT_EQ(has_strncasecmp(nullptr, "a", 1), 0);
    EXPECT_EQ(has_strncasecmp("a", nullptr, 1), 0);
    EXPECT_EQ(has_strncasecmp(nullptr, nullptr, 1), 0);
}

TEST(Strncasecmp, NoBytesAreEqual) {
    EXPECT_EQ(compare("a", "b", 0), 0);
}

TEST(Strncasecmp, AnEmptyStringGivesTheUnfoldedDifferenceOfTheFirstBytes) {
    EXPECT_EQ(compare("", "A", 3), -'A');
    EXPECT_EQ(compare("A", "", 3), 'A');
    EXPECT_EQ(compare("", "", 3), 0);
}

TEST(Strncasecmp, GivesTheFoldedDifference) {
    EXPECT_EQ(compare("abc", "ABD", 2), 0);
    EXPECT_EQ(compare("abc", "ABD", 3), 'c' - 'd');
    EXPECT_EQ(compare("ABD", "abc", 3), 'd' - 'c');
    EXPECT_EQ(compare("Z", "_", 1), 'z' - '_');
}

TEST(Strncasecmp, AStringThatEndsGivesTheOthersNextByteUnfolded) {
    EXPECT_EQ(compare("ab", "ABC", 3), -'C');
    EXPECT_EQ(compare("abC", "AB", 3), 'C');
    EXPECT_EQ(compare("ab", "AB", 9), 0);
    EXPECT_EQ(compare("ab", "ABC", 2), 0);
}

TEST(Strncasecmp, BytesAreUnsigned) {
    EXPECT_EQ(compare("\xFF", "a", 1), 0xFF - 'a');
}

TEST(TextTests, EmptyTextFails) {
    EXPECT_FALSE(isDigitString(""));
    EXPECT_FALSE(isOxDigitString(""));
    EXPECT_FALSE(isFloatString(""));
}

TEST(TextTests, WhiteSpaceAndALoneSignPass) {
    for (const char* text : {" ", "\t\n\v\f\r ", "+", "-", " + ", "1 2", " 1 ", "- 1"}) {
        EXPECT_TRUE(isDigitString(text)) << text;
        EXPECT_TRUE(isOxDigitString(text)) << text;
        EXPECT_TRUE(isFloatString(text)) << text;
    }
}

TEST(TextTests, ASecondSignOrASignBehindADigitFails) {
    for (const char* text : {"--1", "+-1", "1-", "1+", "1 -2"}) {
        EXPECT_FALSE(isDigitString(text)) << text;
        EXPECT_FALSE(isOxDigitString(text)) << text;
        EXPECT_FALSE(isFloatString(text)) << text;
    }
}

TEST(TextTests, OtherCharactersFail) {
    for (const std::string& text :
         {std::string("x"), std::string("1e5"), std::string("0x1F"), std::string("1,5"),
          std::string("1\0", 2), std::string("\xA0")}) {
        EXPECT_FALSE(isDigitString(text)) << text;
        EXPECT_FALSE(isOxDigitString(text)) << text;
        EXPECT_FALSE(isFloatString(text)) << text;
    }
}

TEST(TextTests, DigitStringTakesNoPointAndNoLetter) {
    EXPECT_TRUE(isDigitString("0123456789"));
    EXPECT_FALSE(isDigitString("1.5"));
    EXPECT_FALSE(isDigitString("A"));
}

TEST(TextTests, OxDigitStringTakesUpperCaseOnly) {
    EXPECT_TRUE(isOxDigitString("0123456789ABCDEF"));
    EXPECT_TRUE(isOxDigitString("-1F"));
    for (const char* text : {"a", "f", "G", "@", "1.5", "A-"})
        EXPECT_FALSE(isOxDigitString(text)) << text;
}

TEST(TextTests, FloatStringTakesOnePointWhichLeavesTheSignAllowed) {
    for (const char* text : {"1.5", ".5", "5.", ".", ".-5", "-.5", "+1.0"})
        EXPECT_TRUE(isFloatString(text)) << text;
    for (const char* text : {"1.2.3", "..", "5.-1", "-.-5", "1.5e3"})
        EXPECT_FALSE(isFloatString(text)) << text;
}

TEST(ConvToInt, TextThatIsNoDigitStringIsZero) {
    for (const char* text : {"", "abc", "1.5", "--1", "1-", "0x10"})
        EXPECT_EQ(convNotEmptyDigitStringToInt(text), 0) << text;
}

TEST(ConvToInt, ReadsTheFirstNumber) {
    EXPECT_EQ(convNotEmptyDigitStringToInt(" +42 "), 42);
    EXPECT_EQ(convNotEmptyDigitStringToInt("-7"), -7);
    EXPECT_EQ(convNotEmptyDigitStringToInt("+"), 0);
    EXPECT_EQ(convNotEmptyDigitStringToInt("1 2"), 1);
    EXPECT_EQ(convNotEmptyDigitStringToInt("- 1"), 0);
    EXPECT_EQ(convNotEmptyDigitStringToInt("010"), 10);
}

TEST(ConvToInt, ClampsAtThe32BitLimits) {
    EXPECT_EQ(convNotEmptyDigitStringToInt("2147483647"), INT_MAX);
    EXPECT_EQ(convNotEmptyDigitStringToInt("2147483648"), INT_MAX);
    EXPECT_EQ(convNotEmptyDigitStringToInt("-2147483649"), INT_MIN);
    EXPECT_EQ(convNotEmptyDigitStringToInt(std::string(40, '9')), INT_MAX);
}

TEST(ConvToUInt, IsTheSignedResultReadAsUnsigned) {
    EXPECT_EQ(convNotEmptyDigitStringToUInt("-1"), 4294967295U);
    EXPECT_EQ(convNotEmptyDigitStringToUInt("3000000000"), 2147483647U);
    EXPECT_EQ(convNotEmptyDigitStringToUInt("17"), 17U);
    EXPECT_EQ(convNotEmptyDigitStringToUInt("x"), 0U);
}

TEST(ConvToUl64, IsASigned64BitParseThatClamps) {
    EXPECT_EQ(convNotEmptyDigitStringToUl64("3000000000"), 3000000000LL);
    EXPECT_EQ(convNotEmptyDigitStringToUl64("-1"), -1LL);
    EXPECT_EQ(convNotEmptyDigitStringToUl64("9223372036854775808"), LLONG_MAX);
    EXPECT_EQ(convNotEmptyDigitStringToUl64("-9223372036854775809"), LLONG_MIN);
    EXPECT_EQ(convNotEmptyDigitStringToUl64("1.5"), 0LL);
}

TEST(ConvToUInt2, IsHexadecimalCutTo16Bits) {
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("1F"), 31);
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("FFFFF"), 65535);
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("12345"), 0x2345);
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("ff"), 0);
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("0x1F"), 0);
    EXPECT_EQ(convNotEmptyDigitStringToUInt2("-1"), 1);
}

TEST(ConvToDouble, TakesNoExponentAndYieldsZeroForBadText) {
    EXPECT_EQ(convNotEmptyDigitStringToDouble("1e5"), 0.0);
    EXPECT_EQ(convNotEmptyDigitStringToDouble(".5"), 0.5);
    EXPECT_EQ(convNotEmptyDigitStringToDouble(" -2.25 "), -2.25);
    EXPECT_EQ(convNotEmptyDigitStringToDouble(".-5"), 0.0);
    EXPECT_EQ(convNotEmptyDigitStringToDouble("."), 0.0);
    EXPECT_EQ(convNotEmptyDigitStringToDouble(""), 0.0);
}

TEST(ConvToDouble, TheDecimalPointIsAPointInEveryLocale) {
    const char* const before = setlocale(LC_NUMERIC, nullptr);
    const std::string saved = before == nullptr ? "C" : before;
    // Where the locale is not installed the conversion must hold all the same.
    setlocale(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(convNotEmptyDigitStringToDouble("1.5"), 1.5);
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST(ConvToBool, LooksAtTheFirstFourBytesOnly) {
    for (const char* text : {"true", "TRUE", "true ", "trueish", "tRuE"})
        EXPECT_TRUE(convNotEmptyStringToBool(text)) << text;
    for (const char* text : {"", "tru", "yes", "1", " true", "false"})
        EXPECT_FALSE(convNotEmptyStringToBool(text)) << text;
}

TEST(OxChangeToInt, EveryCharacterTakesAPlace) {
    EXPECT_EQ(OxChangeToInt(exact("").get()), 0);
    EXPECT_EQ(OxChangeToInt(exact("1F").get()), 31);
    EXPECT_EQ(OxChangeToInt(exact("0x1F").get()), 31);
    EXPECT_EQ(OxChangeToInt(exact("1 F").get()), 271);
    EXPECT_EQ(OxChangeToInt(exact("-1").get()), 1);
    EXPECT_EQ(OxChangeToInt(exact("aBcDeF0").get()), 0xABCDEF0);
    EXPECT_EQ(OxChangeToInt(exact("zG").get()), 0);
}

TEST(OxChangeToInt, MoreThan32BitsAreCutToTheLow32) {
    EXPECT_EQ(OxChangeToInt("7FFFFFFF"), INT_MAX);
    EXPECT_EQ(OxChangeToInt("FFFFFFFF"), -1);
    EXPECT_EQ(OxChangeToInt("100000001F"), 31);
    EXPECT_EQ(OxChangeToInt(("1" + std::string(1000, '0') + "A").c_str()), 10);
}

TEST(OxChangeToInt, NullIsZero) {
    EXPECT_EQ(OxChangeToInt(nullptr), 0);
}

TEST(ReplaceFirst, ReplacesOnlyTheFirstOccurrence) {
    std::string text = "axbx";
    EXPECT_EQ(&has_replace_first(text, "x", "yy"), &text);
    EXPECT_EQ(text, "ayybx");
}

TEST(ReplaceFirst, WithoutAnOccurrenceNothingChanges) {
    std::string text = "abc";
    EXPECT_EQ(has_replace_first(text, "d", "x"), "abc");
    EXPECT_EQ(has_replace_first(text, nullptr, "x"), "abc");
}

TEST(ReplaceFirst, AnEmptyTextIsFoundAtTheFront) {
    std::string text = "abc";
    EXPECT_EQ(has_replace_first(text, "", "x"), "xabc");
}

TEST(RangePos, SplitsAtTheFirstSeparator) {
    EXPECT_EQ(rangeOf("100-499"), (Range{100, 499}));
    EXPECT_EQ(rangeOf("1-2-3"), (Range{1, 2}));
    EXPECT_EQ(rangeOf("500-"), (Range{500, -1}));
    EXPECT_EQ(rangeOf("-200"), (Range{0, 200}));
    EXPECT_EQ(rangeOf("-"), (Range{0, -1}));
}

TEST(RangePos, WithoutASeparatorTheDefaultsStand) {
    EXPECT_EQ(rangeOf("abc"), (Range{0, -1}));
    EXPECT_EQ(rangeOf(""), (Range{0, -1}));
    EXPECT_EQ(rangeOf("100"), (Range{0, -1}));
}

TEST(RangePos, ASideWithoutDigitsIsZero) {
    EXPECT_EQ(rangeOf("a-b"), (Range{0, 0}));
    EXPECT_EQ(rangeOf("7x-8y"), (Range{7, 8}));
    EXPECT_EQ(rangeOf("99999999999-1"), (Range{INT_MAX, 1}));
}

TEST(RangePos, OnlyOneByteOfTheSeparatorIsSkipped) {
    EXPECT_EQ(rangeOf("1..5", ".."), (Range{1, 0}));
    EXPECT_EQ(rangeOf("1--5", "--"), (Range{1, -5}));
    EXPECT_EQ(rangeOf("15", ""), (Range{0, 5}));
}

TEST(RangePos, ANullOutputTouchesNothing) {
    int value = 77;
    getRangePosFromString("1-2", nullptr, &value, "-");
    getRangePosFromString("1-2", &value, nullptr, "-");
    EXPECT_EQ(value, 77);
}

} // namespace
