#include <hastool/formats/hls/HlsTags.h>

#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

using namespace hastool;
using Type = HlsTagAttribute::Type;

namespace {

TEST(HlsTags, AreKnownByTheirNames) {
    ASSERT_NE(findHlsTag("EXT-X-STREAM-INF"), nullptr);
    EXPECT_EQ(findHlsTag("EXT-X-STREAM-INF")->place, HlsTag::Place::Master);
    EXPECT_EQ(findHlsTag("ext-x-stream-inf"), nullptr);
    EXPECT_EQ(findHlsTag(""), nullptr);
    std::set<std::string> names;
    for (const HlsTag& tag : hlsTags())
        EXPECT_TRUE(names.insert(std::string(tag.name)).second) << tag.name;
}

TEST(HlsTags, HaveTheAttributesThatAreKnown) {
    std::set<std::pair<std::string, std::string>> names;
    for (const HlsTagAttribute& it : hlsTagAttributes()) {
        const HlsTag* const tag = findHlsTag(it.tag);
        ASSERT_NE(tag, nullptr) << it.tag;
        EXPECT_EQ(tag->value, HlsTag::Value::Attributes) << it.tag;
        EXPECT_TRUE(names.emplace(it.tag, it.name).second) << it.tag << it.name;
        EXPECT_TRUE(it.words.empty() || it.type == Type::Word) << it.name;
        EXPECT_EQ(findHlsTagAttribute(it.tag, it.name)->type, it.type) << it.name;
    }
    EXPECT_EQ(findHlsTagAttribute("EXT-X-MAP", "BANDWIDTH"), nullptr);
}

TEST(HlsTags, TellTheTypesOfValues) {
    struct Row {
        const char* value;
        bool isQuoted;
        Type type;
        bool isOfIt;
    };
    const Row rows[] = {
        {"12", false, Type::Integer, true},
        {"18446744073709551615", false, Type::Integer, true},
        {"18446744073709551616", false, Type::Integer, false},
        {"-1", false, Type::Integer, false},
        {"1.5", false, Type::Integer, false},
        {"", false, Type::Integer, false},
        {"12", true, Type::Integer, false},
        {"0x0aF", false, Type::Hex, true},
        {"0X1", false, Type::Hex, true},
        {"0x", false, Type::Hex, false},
        {"0xG", false, Type::Hex, false},
        {"1A", false, Type::Hex, false},
        {"29.97", false, Type::Decimal, true},
        {"30", false, Type::Decimal, true},
        {"1e3", false, Type::Decimal, false},
        {"inf", false, Type::Decimal, false},
        {"-1.5", false, Type::Decimal, false},
        {"-1.5", false, Type::SignedDecimal, true},
        {"1.5", false, Type::SignedDecimal, true},
        {"--1", false, Type::SignedDecimal, false},
        {"text", true, Type::Quoted, true},
        {"text", false, Type::Quoted, false},
        {"YES", false, Type::Word, true},
        {"YES", true, Type::Word, false},
        {"", false, Type::Word, false},
        {"A B", false, Type::Word, false},
        {"1280x720", false, Type::Resolution, true},
        {"1280X720", false, Type::Resolution, false},
        {"1280x", false, Type::Resolution, false},
        {"720", false, Type::Resolution, false},
        {"NONE", false, Type::QuotedOrNone, true},
        {"cc", true, Type::QuotedOrNone, true},
        {"cc", false, Type::QuotedOrNone, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(isOfType(row.value, row.isQuoted, row.type), row.isOfIt)
            << row.value << " is " << nameOf(row.type);
    }
}

} // namespace
