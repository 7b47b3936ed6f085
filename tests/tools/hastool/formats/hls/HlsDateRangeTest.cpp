#include <tools/hastool/SpliceSections.h>

#include <hastool/formats/hls/HlsDateRange.h>

#include <gtest/gtest.h>

using hastool::HlsAttributes;
using hastool::HlsDateRange;
using Break = hastool::TimedEvent::Break;

namespace {

constexpr double kStart = 1704067260; // 2024-01-01T00:01:00Z

std::optional<HlsDateRange> range(const std::string& attributes) {
    return hastool::readDateRange(HlsAttributes::parse(attributes).value());
}

std::string hexOf(const std::string& bytes) {
    std::string text = "0x";
    for (const char it : bytes) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        text += kDigits[static_cast<unsigned char>(it) >> 4];
        text += kDigits[it & 15];
    }
    return text;
}

} // namespace

TEST(HlsDateRange, ReadsWhatARangeSays) {
    const auto it = range(R"(ID="a",CLASS="c",START-DATE="2024-01-01T00:01:00Z",DURATION=30.5)");
    ASSERT_TRUE(it);
    EXPECT_EQ(it->id, "a");
    EXPECT_EQ(it->rangeClass, "c");
    EXPECT_DOUBLE_EQ(it->start, kStart);
    EXPECT_EQ(it->end, kStart + 30.5);
    EXPECT_EQ(it->adBreak, Break::None);
}

TEST(HlsDateRange, EndDateCountsBeforeDuration) {
    const auto it = range(
        R"(ID="a",START-DATE="2024-01-01T00:01:00Z",END-DATE="2024-01-01T00:01:10Z",DURATION=30)");
    EXPECT_EQ(it->end, kStart + 10);
    EXPECT_EQ(
        range(R"(ID="a",START-DATE="2024-01-01T00:01:00Z",END-DATE="2024-01-01T00:00:00Z")")->end,
        kStart)
        << "no range ends before it begins";
}

TEST(HlsDateRange, AWayToPlaceItIsNeeded) {
    EXPECT_FALSE(range(R"(START-DATE="2024-01-01T00:01:00Z")"));
    EXPECT_FALSE(range(R"(ID="a")"));
    EXPECT_FALSE(range(R"(ID="a",START-DATE="soon")"));
}

TEST(HlsDateRange, ReadsCueMessages) {
    const std::string head = R"(ID="a",START-DATE="2024-01-01T00:01:00Z",)";
    const auto out = range(head + "SCTE35-OUT=" + hexOf(test::spliceInsert(true, 20)));
    EXPECT_EQ(out->adBreak, Break::Begins);
    EXPECT_EQ(out->planned, 20);
    EXPECT_FALSE(out->end) << "it ends where the message for its end says";
    EXPECT_EQ(out->text, "splice insert 0x7, a break begins, 20.0 s");
    EXPECT_EQ(range(head + "SCTE35-IN=" + hexOf(test::spliceInsert(false)))->adBreak, Break::Ends);
    EXPECT_EQ(range(head + "SCTE35-CMD=" + hexOf(test::timeSignal(0x34)))->adBreak, Break::Begins);
    EXPECT_EQ(range(head + "SCTE35-CMD=" + hexOf(test::timeSignal(0x10)))->adBreak, Break::None);
}

TEST(HlsDateRange, TheAttributeCountsWhereItsMessageCannotBeRead) {
    const std::string head = R"(ID="a",START-DATE="2024-01-01T00:01:00Z",)";
    for (const char* const value : {"0x", "0xFC3", "FC30", "0xZZ", "0xFC30", "\"text\""}) {
        const auto it = range(head + "SCTE35-OUT=" + value);
        ASSERT_TRUE(it) << value;
        EXPECT_EQ(it->adBreak, Break::Begins) << value;
        EXPECT_EQ(it->text, "SCTE35-OUT that cannot be read") << value;
    }
}

TEST(HlsDateRange, IsPlacedByTheDateOfThePresentation) {
    const auto it = range(
        R"(ID="a",CLASS="c",START-DATE="2024-01-01T00:01:00Z",END-DATE="2024-01-01T00:01:10Z")");
    const hastool::TimedEvent event = eventOf(*it, kStart - 12);
    EXPECT_EQ(event.origin, "DATERANGE");
    EXPECT_EQ(event.scheme, "c");
    EXPECT_EQ(event.id, "a");
    EXPECT_DOUBLE_EQ(event.start, 12);
    EXPECT_EQ(event.end, 22);
    const auto planned = range(R"(ID="a",START-DATE="2024-01-01T00:01:00Z",PLANNED-DURATION=15)");
    EXPECT_EQ(eventOf(*planned, kStart).text, "planned for 15.0 s");
}
