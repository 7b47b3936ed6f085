#include <tools/hastool/SpliceSections.h>

#include <hastool/base/Base64.h>
#include <hastool/formats/dash/DashEventStream.h>

#include <gtest/gtest.h>

using hastool::TimedEvent;
using Break = TimedEvent::Break;

namespace {

class DashEventStreamTest : public testing::Test {
protected:
    std::vector<TimedEvent> read(const std::string& text) {
        hastool::XmlDocument document(text, "http://h/m.mpd");
        return hastool::readEventStream(document.root(), "http://h/m.mpd", m_problems);
    }

    std::vector<std::string> m_problems;
};

} // namespace

TEST_F(DashEventStreamTest, PlacesEventsByTheTimescaleAndOffset) {
    const auto events = read(R"(<EventStream schemeIdUri="urn:x" value="v" timescale="1000"
        presentationTimeOffset="2000"><Other/><Event presentationTime="5500" duration="250" id="7"
        messageData="hello"/><Event> some text </Event></EventStream>)");
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].origin, "EventStream");
    EXPECT_EQ(events[0].scheme, "urn:x");
    EXPECT_EQ(events[0].id, "v/7");
    EXPECT_DOUBLE_EQ(events[0].start, 3.5);
    EXPECT_EQ(events[0].end, 3.75);
    EXPECT_EQ(events[0].text, "hello");
    EXPECT_EQ(events[1].id, "v/#1");
    EXPECT_DOUBLE_EQ(events[1].start, -2);
    EXPECT_FALSE(events[1].end);
    EXPECT_EQ(events[1].text, "some text");
    EXPECT_TRUE(m_problems.empty());
}

TEST_F(DashEventStreamTest, ReadsCueMessagesInBase64) {
    const auto events = read(R"(<EventStream schemeIdUri="urn:scte:scte35:2014:xml+bin">
        <Event><s:Signal xmlns:s="urn:s"><s:Binary> )" +
                             hastool::toBase64(test::spliceInsert(true, 30)) +
                             "\n</s:Binary></s:Signal></Event></EventStream>");
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].adBreak, Break::Begins);
    EXPECT_EQ(events[0].end, 30);
}

TEST_F(DashEventStreamTest, ReadsCueMessagesAsElements) {
    const auto events = read(R"(<EventStream schemeIdUri="urn:scte:scte35:2013:xml">
        <Event><SpliceInfoSection><SpliceInsert spliceEventId="4" outOfNetworkIndicator="true">
          <BreakDuration autoReturn="true" duration="900000"/></SpliceInsert></SpliceInfoSection>
        </Event>
        <Event presentationTime="9"><SpliceInfoSection><SpliceInsert
          outOfNetworkIndicator="false"/></SpliceInfoSection></Event>
        <Event presentationTime="10"><SpliceInfoSection><TimeSignal/><SegmentationDescriptor
          segmentationEventId="5" segmentationTypeId="52" segmentationDuration="180000"/>
        </SpliceInfoSection></Event>
        <Event presentationTime="11"><Nothing/></Event></EventStream>)");
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(events[0].adBreak, Break::Begins);
    EXPECT_EQ(events[0].end, 10);
    EXPECT_EQ(events[0].text, "splice insert 4");
    EXPECT_EQ(events[1].adBreak, Break::Ends);
    EXPECT_EQ(events[2].adBreak, Break::Begins);
    EXPECT_EQ(events[2].end, 12);
    EXPECT_EQ(events[3].adBreak, Break::None);
}

TEST_F(DashEventStreamTest, SaysWhatCannotBeUsedAndKeepsTheRest) {
    const auto events = read(R"(<EventStream schemeIdUri="urn:x"><Event id="1"/>
        <Event presentationTime="soon"/><Event id="3"/></EventStream>)");
    ASSERT_EQ(events.size(), 1U);
    ASSERT_EQ(m_problems.size(), 1U);
    EXPECT_NE(m_problems[0].find("presentationTime"), std::string::npos) << m_problems[0];
    EXPECT_NE(m_problems[0].find("\"urn:x\" and those behind it are left out"), std::string::npos)
        << m_problems[0];
    EXPECT_TRUE(read("<EventStream timescale='0'><Event/></EventStream>").empty());
    EXPECT_EQ(m_problems.size(), 2U);
}

TEST_F(DashEventStreamTest, LeavesOutWhatIsBeyondAllNeed) {
    std::string text = "<EventStream schemeIdUri='urn:x'>";
    for (size_t i = 0; i <= hastool::kMaxDashEvents; ++i)
        text += "<Event/>";
    EXPECT_EQ(read(text + "</EventStream>").size(), hastool::kMaxDashEvents);
    EXPECT_EQ(m_problems.size(), 1U);
}
