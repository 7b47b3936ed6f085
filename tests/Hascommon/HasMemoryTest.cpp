#include <Hascommon/Linux/HasMemory.h>
#include <Hascommon/Linux/Sleep.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace {

TEST(HasMemory, GlobalsAreZeroAtLoad) {
    EXPECT_EQ(g_nMemUsedSize, 0U);
    EXPECT_EQ(g_pMemBase, nullptr);
    EXPECT_EQ(GetUsedBufSize(), 0U);
}

TEST(HasMemory, UsedSizeIsWhatTheProgramWrote) {
    g_nMemUsedSize = 1234;
    EXPECT_EQ(GetUsedBufSize(), 1234U);
    g_nMemUsedSize = 0;
}

TEST(HasMemory, CreateAndDestroyOnlySayYes) {
    EXPECT_TRUE(CreateHasMemory(0));
    EXPECT_TRUE(CreateHasMemory(0xFFFFFFFFU));
    EXPECT_TRUE(DestroyHasMemory());
}

TEST(HasMemory, BlockIsWritableAndTheSizeStays) {
    unsigned char* block = nullptr;
    unsigned int size = 188;
    GetHasMemory(&block, &size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size, 188U);
    memset(block, 0x47, size);
    FreeHasMemory(block);
}

TEST(HasMemory, SizeZeroStoresWhatMallocGives) {
    void* const reference = malloc(0);
    unsigned char dummy = 0;
    unsigned char* block = &dummy;
    unsigned int size = 0;
    GetHasMemory(&block, &size);
    EXPECT_NE(block, &dummy);
    EXPECT_EQ(block == nullptr, reference == nullptr);
    FreeHasMemory(block);
    free(reference);
    FreeHasMemory(nullptr);
}

TEST(Sleep, ZeroReturnsAtOnce) {
    EXPECT_EQ(has_sleep_ms(0), 0);
    EXPECT_EQ(has_sleep_us(0), 0);
}

TEST(Sleep, SleepsAtLeastTheTimeGiven) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(has_sleep_ms(5), 0);
    EXPECT_EQ(has_sleep_us(5000), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
}

TEST(Sleep, MillisecondsWrapIn32BitMicroseconds) {
    // 4,294,968 ms are 4,294,968,000 us, which is 704 us in 32 bits.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(has_sleep_ms(4294968), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

} // namespace
