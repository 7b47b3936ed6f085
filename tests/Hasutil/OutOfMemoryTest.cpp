// What the media utilities do when memory runs out: nothing throws, and what was there stays.
#include <Hascommon/Packet.h>
#include <Hasutil/CBbtsParser.h>
#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/ContentProtection_t.h>
#include <Hasutil/DashMarlinCencDRMHandler.h>
#include <Hasutil/DashQDRMCencDRMHandler.h>
#include <Hasutil/H264HeaderParser.h>
#include <Hasutil/HssXPathReader.h>
#include <Hasutil/StringBuffer.h>
#include <support/BoxBuilder.h>
#include <support/ExactBytes.h>
#include <support/FailingNew.h>
#include <support/LogCapture.h>
#include <support/TsPacket.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>

namespace {

using hascommon::HssXPathReader;
using hascommon::Packet;
using hascommon::StringBuffer;
using test::ExactBytes;
using test::FailingNew;

TEST(OutOfMemory, PacketAllocLeavesItEmpty) {
    Packet packet;
    packet.PtrAlloc(4);
    const FailingNew failing(0);
    EXPECT_EQ(packet.PtrAlloc(10), 0);
    EXPECT_TRUE(failing.hasFailed());
    EXPECT_EQ(packet.GetPtr(), nullptr);
    EXPECT_EQ(packet.GetSize(), 0U);
}

TEST(OutOfMemory, PacketResizeLeavesItAsItWas) {
    Packet packet;
    packet.PtrAlloc(4);
    packet.GetPtr()[3] = 7;
    const FailingNew failing(0);
    EXPECT_EQ(packet.PtrResize(10), 0);
    EXPECT_TRUE(failing.hasFailed());
    EXPECT_EQ(packet.GetSize(), 4U);
    EXPECT_EQ(packet.GetPtr()[3], 7);
}

TEST(OutOfMemory, ParameterSetsFail) {
    hascommon::H264HeaderParser parser;
    hascommon::H264SequenceSetParse sps;
    const ExactBytes bytes(30, 0xFF);
    const FailingNew failing(0);
    EXPECT_FALSE(parser.ParseSPS(bytes.data(), bytes.intSize(), sps));
    EXPECT_TRUE(failing.hasFailed());
}

namespace cenc {

using namespace test::boxes;

Bytes segment() {
    const Bytes fragment =
        box("traf", tfhd(1) + sizedRun(100, {1, 2}) +
                        senc(2, 2, counting(8) + u16(1) + subsample(1, 2) + counting(8) + u16(0)));
    return box("moov", videoTrak(1, 8) + pssh(counting(16), counting(40))) + box("moof", fragment) +
           box("mdat", counting(30));
}

} // namespace cenc

TEST(OutOfMemory, TheStreamFailsAndGoesOnWithTheNextSegment) {
    const ExactBytes in(cenc::segment());
    const ExactBytes out(in.size() + 100);
    constexpr unsigned int kFirst = 40; // so that some bytes wait
    bool hasFailed = true;
    for (int allowed = 0; hasFailed; ++allowed) {
        CCENCMediaContent content;
        content.init(eDRM_TYPE_PLAYREADY, true);
        unsigned int written = 0;
        const auto deliver = [&] {
            const int first = content.process(1, 1, in.data(), kFirst, out.data(), written);
            return first < 0 ? first
                             : content.process(1, 1, in.data() + kFirst, in.uintSize() - kFirst,
                                               out.data(), written);
        };
        int result = 0;
        {
            const FailingNew failing(allowed);
            result = deliver();
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(result < 0, hasFailed);
        EXPECT_EQ(content.getLastErrorCode(),
                  hasFailed ? CCENCMediaContent::ERROR_MEMORY : CCENCMediaContent::ERROR_NONE);
        content.startSegment();
        EXPECT_EQ(deliver(), in.intSize() + 72);
    }
}

TEST(OutOfMemory, TheWalkFails) {
    bool hasFailed = true;
    for (int allowed = 0; hasFailed; ++allowed) {
        const ExactBytes in(cenc::segment());
        CCENCMediaContent content;
        long long result = 0;
        {
            const FailingNew failing(allowed);
            result = content.walkBoxes(in.data(), in.size());
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(result, hasFailed ? -1 : static_cast<long long>(in.size()));
    }
}

TEST(OutOfMemory, TheQueueStartsWithoutItsReserve) {
    const FailingNew failing(0);
    StringBuffer buffer(100000);
    EXPECT_TRUE(failing.hasFailed());
    EXPECT_TRUE(buffer.Empty());
}

TEST(OutOfMemory, TheQueueRefusesAPushAndKeepsItsBytes) {
    StringBuffer buffer(0);
    char text[] = "abc";
    buffer.PushBack(text, 3);
    const ExactBytes more(100000);
    {
        const FailingNew failing(0);
        EXPECT_FALSE(buffer.PushBack(more.data(), more.uintSize()));
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(buffer.GetString(), "abc");
}

TEST(OutOfMemory, TheQueuesTextIsEmpty) {
    StringBuffer buffer(0);
    const ExactBytes bytes(1000, 'x');
    buffer.PushBack(bytes.data(), bytes.uintSize());
    const FailingNew failing(0);
    EXPECT_TRUE(buffer.GetString().empty());
    EXPECT_TRUE(failing.hasFailed());
}

TEST(OutOfMemory, PrivateDataIsNotKept) {
    CBbtsParser parser;
    CBbtsParser::TS_HEADER header{};
    ExactBytes pat = test::tsPacket(0, test::pointed(test::pat(test::program(1, 0x100))));
    parser.TsParser(pat.data(), 188, header);
    ExactBytes pmt = test::tsPacket(
        0x100, test::pointed(test::pmt(test::bytes({9, 7, 0, 0, 0xE1, 0xAB, 1, 1, 42}))));
    {
        const FailingNew failing(0);
        EXPECT_EQ(parser.TsParser(pmt.data(), 188, header), 1);
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(parser.m_caPrivateData, nullptr);
    EXPECT_EQ(parser.m_caPrivateDataSize, 0U);
    EXPECT_EQ(parser.m_ecmPid, 0x1ABU);
}

TEST(OutOfMemory, XPathAnswersAreEmpty) {
    const std::string text =
        "<a b='" + std::string(100, 'x') + "'>" + std::string(100, 'y') + "</a>";
    HssXPathReader reader;
    reader.Load(text.data(), static_cast<int>(text.size()));
    const FailingNew failing(0);
    EXPECT_TRUE(reader.GetXmlParamStr("/a/text()").empty());
    EXPECT_TRUE(failing.hasFailed());
    EXPECT_TRUE(reader.GetXmlParamAttr("/a", "b").empty());
    EXPECT_EQ(reader.GetXmlParamInt("/a/text()"), 0);
}

/// Handlers log their refusals; the memory that the test's own log needs is allocated before.
class OutOfMemoryHandler : public ::testing::Test {
protected:
    OutOfMemoryHandler() { const test::LogCapture log; }
};

TEST_F(OutOfMemoryHandler, RefusesAChunkThatItCannotKeep) {
    hascommon::DashQDRMCencDRMHandler handler(CONTENT_TYPE_VIDEO, true);
    ExactBytes half(100000); // of a box of 196,608 bytes, kept until the rest comes
    half[1] = 3;
    std::copy_n("free", 4, half.data() + 4);
    const ExactBytes out(200000);
    unsigned int size = 0;
    const auto pass = [&] {
        return handler.ProcessSegmentData(0, 0, half.data(), half.uintSize(), out.data(), size);
    };
    {
        const FailingNew failing(0);
        EXPECT_EQ(pass(), 0);
        EXPECT_TRUE(failing.hasFailed());
    }
    handler.OnContentStart(nullptr);
    EXPECT_EQ(pass(), 1);
}

TEST_F(OutOfMemoryHandler, GoesOnWithoutDescriptorsThatItCannotKeep) {
    hascommon::DashQDRMCencDRMHandler handler(CONTENT_TYPE_VIDEO, true);
    std::list<dashengine::ContentProtection_t> descriptors(1);
    descriptors.front().schemeIdUri = std::string(100, 'x');
    for (int allowed = 0;; ++allowed) {
        const FailingNew failing(allowed);
        handler.setContentProtectionInfo(1, 2, &descriptors);
        if (!failing.hasFailed())
            break;
        ASSERT_LT(allowed, 100);
    }
    EXPECT_EQ(handler.GetLastErrorCode(), 0);
}

TEST_F(OutOfMemoryHandler, CannotUseAMarlinKindThatItCannotKeep) {
    hascommon::DashMarlinCencDRMHandler handler(CONTENT_TYPE_VIDEO, true);
    std::string info = "TYPE=" + std::string(100, 'x');
    {
        const FailingNew failing(0);
        EXPECT_EQ(handler.OnContentStart(&info), 0);
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(handler.GetLastErrorCode(), -51);
    info = "TYPE=MARLIN-MS3";
    EXPECT_EQ(handler.OnContentStart(&info), 1);
}

} // namespace
