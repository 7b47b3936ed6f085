// Embedders call through these tables, so their order must never change.
#include <Hascommon/Packet.h>
#include <Hasutil/CTSPacketBuffer.h>
#include <Hasutil/H264_SyntaxReader.h>
#include <Hasutil/IArrayBuffer.h>
#include <Hasutil/IOutputBuffer.h>
#include <Hasutil/StringBuffer.h>
#include <support/VtableSlot.h>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using hascommon::IArrayBuffer;
using hascommon::IOutputBuffer;
using test::vtableSlot;

TEST(BufferTables, TheProducersOperationsStandInTheirOrder) {
    EXPECT_TRUE(std::has_virtual_destructor_v<IOutputBuffer>);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::PushBack), 2U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::Empty), 3U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::Size), 4U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::FreeSize), 5U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::MaxSize), 6U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::SetMaxSize), 7U);
    EXPECT_EQ(vtableSlot(&IOutputBuffer::AdjustSize), 8U);
}

TEST(BufferTables, TheConsumersOperationsStandBehindThem) {
    EXPECT_EQ(vtableSlot(static_cast<void (IArrayBuffer::*)()>(&IArrayBuffer::PopFront)), 9U);
    EXPECT_EQ(vtableSlot(static_cast<bool (IArrayBuffer::*)(unsigned int, void*)>(
                  &IArrayBuffer::PopFront)),
              10U);
    EXPECT_EQ(vtableSlot(&IArrayBuffer::GetFront), 11U);
    EXPECT_EQ(vtableSlot(&IArrayBuffer::Clear), 12U);
    EXPECT_EQ(vtableSlot(&IArrayBuffer::GetString), 13U);
}

/// What the last slot belongs to, for a class that adds one virtual operation of its own.
template<typename Base>
class OneMore : public Base {
public:
    using Base::Base;
    virtual void added() {}
};

TEST(BufferTables, NoClassHasMore) {
    EXPECT_EQ(vtableSlot(&OneMore<hascommon::StringBuffer>::added), 14U);
    EXPECT_EQ(vtableSlot(&OneMore<hascommon::CTSPacketBuffer>::added), 14U);
    EXPECT_EQ(vtableSlot(&OneMore<hascommon::Packet>::added), 2U);
    EXPECT_EQ(vtableSlot(&OneMore<hascommon::H264_SyntaxReader>::added), 2U);
}

} // namespace
