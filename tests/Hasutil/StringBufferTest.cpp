#include <Hasutil/StringBuffer.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <random>
#include <string>

namespace {

using hascommon::StringBuffer;
using test::ExactBytes;

bool push(StringBuffer& buffer, const std::string& text) {
    const ExactBytes bytes(text);
    return buffer.PushBack(bytes.data(), bytes.uintSize());
}

std::string pop(StringBuffer& buffer, unsigned int size) {
    const ExactBytes out(size);
    EXPECT_TRUE(buffer.PopFront(size, out.data()));
    return {out.data(), out.data() + out.size()};
}

TEST(StringBuffer, StartsEmpty) {
    StringBuffer buffer(100);
    EXPECT_TRUE(buffer.Empty());
    EXPECT_EQ(buffer.Size(), 0U);
    EXPECT_EQ(buffer.FreeSize(), 2097152U);
    EXPECT_EQ(buffer.MaxSize(), 134217727U);
    EXPECT_EQ(buffer.GetString(), "");
}

TEST(StringBuffer, PushAppends) {
    StringBuffer buffer(0);
    EXPECT_TRUE(push(buffer, "abc"));
    EXPECT_TRUE(push(buffer, std::string("\0d", 2)));
    EXPECT_FALSE(buffer.Empty());
    EXPECT_EQ(buffer.Size(), 5U);
    EXPECT_EQ(buffer.GetString(), std::string("abc\0d", 5));
}

TEST(StringBuffer, PushOfNothingIsTaken) {
    StringBuffer buffer(0);
    EXPECT_TRUE(buffer.PushBack(nullptr, 0));
    EXPECT_FALSE(buffer.PushBack(nullptr, 1));
    EXPECT_TRUE(buffer.Empty());
}

TEST(StringBuffer, PopTakesFromTheFront) {
    StringBuffer buffer(16);
    push(buffer, "abcdef");
    EXPECT_EQ(pop(buffer, 4), "abcd");
    EXPECT_EQ(buffer.GetString(), "ef");
    EXPECT_EQ(buffer.Size(), 2U);
}

TEST(StringBuffer, PopOfMoreThanThereIsChangesNothing) {
    StringBuffer buffer(16);
    push(buffer, "abcdef");
    const ExactBytes out(7, 0xEE);
    EXPECT_FALSE(buffer.PopFront(7, out.data()));
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(buffer.GetString(), "abcdef");
    pop(buffer, 4);
    EXPECT_FALSE(buffer.PopFront(3, out.data()));
    EXPECT_EQ(buffer.GetString(), "ef");
}

TEST(StringBuffer, PopOfNothingAndOfEverything) {
    StringBuffer buffer(16);
    EXPECT_TRUE(buffer.PopFront(0, nullptr));
    push(buffer, "abc");
    EXPECT_EQ(pop(buffer, 0), "");
    EXPECT_EQ(pop(buffer, 3), "abc");
    EXPECT_TRUE(buffer.Empty());
}

TEST(StringBuffer, PopToNullDropsUnread) {
    StringBuffer buffer(16);
    push(buffer, "abc");
    EXPECT_TRUE(buffer.PopFront(2, nullptr));
    EXPECT_EQ(buffer.GetString(), "c");
}

TEST(StringBuffer, FreeSizeWrapsPastTwoMebibytes) {
    StringBuffer buffer(0);
    push(buffer, std::string(2097152, 'x'));
    EXPECT_EQ(buffer.FreeSize(), 0U);
    push(buffer, "y");
    EXPECT_EQ(buffer.FreeSize(), UINT_MAX);
}

TEST(StringBuffer, SizesCannotBeChanged) {
    StringBuffer buffer(0);
    buffer.SetMaxSize(10);
    EXPECT_EQ(buffer.MaxSize(), 134217727U);
    EXPECT_EQ(buffer.AdjustSize(10), 134217727U);
    EXPECT_TRUE(push(buffer, std::string(11, 'x')));
}

TEST(StringBuffer, HasNoFrontElement) {
    StringBuffer buffer(0);
    push(buffer, "abc");
    buffer.PopFront();
    EXPECT_EQ(buffer.Size(), 3U);
    unsigned char out = 0xEE;
    EXPECT_FALSE(buffer.GetFront(&out));
    EXPECT_EQ(out, 0xEE);
    EXPECT_FALSE(buffer.GetFront(nullptr));
}

TEST(StringBuffer, ClearEmpties) {
    StringBuffer buffer(0);
    push(buffer, "abc");
    pop(buffer, 1);
    buffer.Clear();
    EXPECT_TRUE(buffer.Empty());
    push(buffer, "d");
    EXPECT_EQ(buffer.GetString(), "d");
}

TEST(StringBuffer, WorksThroughItsInterfaces) {
    StringBuffer buffer(0);
    hascommon::IOutputBuffer& producer = buffer;
    hascommon::IArrayBuffer& consumer = buffer;
    char text[] = "ab";
    EXPECT_TRUE(producer.PushBack(text, 2));
    EXPECT_TRUE(consumer.PopFront(1, nullptr));
    EXPECT_EQ(consumer.GetString(), "b");
}

TEST(StringBuffer, AgreesWithAPlainString) {
    std::mt19937 random(12); // the same run every time
    StringBuffer buffer(10);
    std::string model;
    for (int step = 0; step < 20000; ++step) {
        const auto size = static_cast<unsigned int>(random() % 3000);
        if (random() % 2 == 0 && model.size() < 200000) {
            const std::string text(size, static_cast<char>(random()));
            ASSERT_TRUE(push(buffer, text));
            model += text;
        } else if (size <= model.size()) {
            ASSERT_EQ(pop(buffer, size), model.substr(0, size));
            model.erase(0, size);
        } else {
            ASSERT_FALSE(buffer.PopFront(size, nullptr));
        }
        ASSERT_EQ(buffer.Size(), model.size());
    }
    EXPECT_EQ(buffer.GetString(), model);
}

double secondsToPopInSteps(unsigned int total, unsigned int step) {
    StringBuffer buffer(total);
    push(buffer, std::string(total, 'x'));
    const auto start = std::chrono::steady_clock::now();
    while (buffer.PopFront(step, nullptr)) {
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(StringBuffer, PoppingInStepsThroughMuchDataIsNotQuadratic) {
    // Moving the rest at every step would move 64 MiB 350,000 times: hours.
    EXPECT_LT(secondsToPopInSteps(64U << 20U, 188), 20.0);
}

} // namespace
