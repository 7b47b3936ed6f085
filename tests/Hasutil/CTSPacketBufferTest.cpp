#include <Hascommon/Linux/HasMemory.h>
#include <Hascommon/LockGuard.h>
#include <Hasutil/CTSPacketBuffer.h>
#include <support/ExactBytes.h>
#include <support/RingModel.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace {

using hascommon::CTSPacketBuffer;
using test::ExactBytes;
using test::RingModel;

constexpr unsigned int kPacket = 188;

ExactBytes packet(int mark) {
    return ExactBytes(kPacket, static_cast<unsigned char>(mark));
}

bool pushPacket(CTSPacketBuffer& ring, int mark) {
    return ring.PushBackPacket(packet(mark).data());
}

/// A run of packets marked mark, mark + 1, ... and a cut one of `rest` bytes behind them.
ExactBytes run(int mark, unsigned int packets, unsigned int rest = 0) {
    ExactBytes bytes(packets * kPacket + rest);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(mark + static_cast<int>(i / kPacket));
    return bytes;
}

bool pushRun(CTSPacketBuffer& ring, int mark, unsigned int packets, unsigned int rest = 0) {
    const ExactBytes bytes = run(mark, packets, rest);
    return ring.PushBack(bytes.data(), bytes.uintSize());
}

/// The mark of the oldest packet, -1 when there is none.
int front(CTSPacketBuffer& ring) {
    const ExactBytes out(kPacket, 0xEE);
    if (!ring.GetFront(out.data()))
        return -1;
    for (size_t i = 1; i < kPacket; ++i)
        EXPECT_EQ(out[i], out[0]);
    return out[0];
}

std::vector<int> popRun(CTSPacketBuffer& ring, unsigned int packets) {
    const ExactBytes out(packets * kPacket, 0xEE);
    std::vector<int> marks;
    if (!ring.PopFront(out.uintSize(), out.data()))
        return marks;
    for (unsigned int i = 0; i < packets; ++i)
        marks.push_back(out[i * kPacket + kPacket - 1]);
    return marks;
}

using Marks = std::vector<int>;

TEST(CTSPacketBuffer, CapacityIsRoundedDownToPackets) {
    CTSPacketBuffer ring(1000);
    EXPECT_EQ(ring.MaxSize(), 940U);
    EXPECT_EQ(ring.FreeSize(), 940U);
    EXPECT_EQ(ring.Size(), 0U);
    EXPECT_TRUE(ring.Empty());
    EXPECT_EQ(ring.AdjustSize(1000), 940U);
    EXPECT_EQ(ring.AdjustSize(187), 0U);
    EXPECT_EQ(ring.AdjustSize(UINT_MAX), UINT_MAX - UINT_MAX % 188);
}

TEST(CTSPacketBuffer, TheSixthPacketDoesNotFitIntoFive) {
    CTSPacketBuffer ring(1000);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(pushPacket(ring, i));
    EXPECT_FALSE(pushPacket(ring, 5));
    EXPECT_EQ(ring.Size(), 940U);
    EXPECT_EQ(ring.FreeSize(), 0U);
    EXPECT_EQ(front(ring), 0);
}

TEST(CTSPacketBuffer, GetFrontCopiesAndLeavesThePacket) {
    CTSPacketBuffer ring(1000);
    EXPECT_EQ(front(ring), -1);
    pushPacket(ring, 7);
    EXPECT_EQ(front(ring), 7);
    EXPECT_EQ(ring.Size(), kPacket);
}

TEST(CTSPacketBuffer, GetFrontToNullOnlyAnswers) {
    CTSPacketBuffer ring(1000);
    EXPECT_FALSE(ring.GetFront(nullptr));
    pushPacket(ring, 7);
    EXPECT_TRUE(ring.GetFront(nullptr));
}

TEST(CTSPacketBuffer, PopFrontRemovesTheOldest) {
    CTSPacketBuffer ring(1000);
    ring.PopFront();
    pushPacket(ring, 1);
    pushPacket(ring, 2);
    ring.PopFront();
    EXPECT_EQ(front(ring), 2);
    ring.PopFront();
    EXPECT_TRUE(ring.Empty());
    ring.PopFront();
    EXPECT_EQ(ring.Size(), 0U);
}

TEST(CTSPacketBuffer, PacketsGoRoundTheRing) {
    CTSPacketBuffer ring(3 * kPacket);
    pushPacket(ring, 0);
    for (int i = 1; i < 20; ++i) {
        EXPECT_TRUE(pushPacket(ring, i));
        EXPECT_EQ(front(ring), i - 1);
        ring.PopFront();
    }
}

TEST(CTSPacketBuffer, PopFrontNoLockIsForTheHolderOfTheMutex) {
    CTSPacketBuffer ring(1000);
    pushPacket(ring, 1);
    pushPacket(ring, 2);
    const hascommon::LockGuard<hascommon::RecursiveMutex> guard(ring.GetMutex());
    ring.PopFrontNoLock();
    EXPECT_EQ(front(ring), 2); // further operations under the lock
    EXPECT_EQ(ring.Size(), kPacket);
}

TEST(CTSPacketBuffer, ARunThatFitsBeforeTheEndIsExact) {
    CTSPacketBuffer ring(1000);
    EXPECT_TRUE(pushRun(ring, 10, 3));
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(ring.Size(), 4 * kPacket);
    EXPECT_EQ(popRun(ring, 4), (Marks{10, 11, 12, 20}));
    EXPECT_TRUE(ring.Empty());
}

TEST(CTSPacketBuffer, ARunThatEndsAtTheEndIsExact) {
    CTSPacketBuffer ring(5 * kPacket);
    EXPECT_TRUE(pushRun(ring, 10, 5));
    EXPECT_FALSE(pushPacket(ring, 20));
    EXPECT_EQ(popRun(ring, 2), (Marks{10, 11}));
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(popRun(ring, 4), (Marks{12, 13, 14, 20}));
}

TEST(CTSPacketBuffer, LessThanAPacketIsRefused) {
    CTSPacketBuffer ring(1000);
    const ExactBytes bytes(187);
    EXPECT_FALSE(ring.PushBack(bytes.data(), 100));
    EXPECT_FALSE(ring.PushBack(bytes.data(), 187));
    EXPECT_FALSE(ring.PushBack(bytes.data(), 0));
    EXPECT_TRUE(ring.Empty());
    pushPacket(ring, 1);
    EXPECT_FALSE(ring.PopFront(187, nullptr));
    EXPECT_FALSE(ring.PopFront(0, nullptr));
    EXPECT_EQ(ring.Size(), kPacket);
}

TEST(CTSPacketBuffer, MoreThanIsFreeIsRefused) {
    CTSPacketBuffer ring(1000);
    pushRun(ring, 1, 3);
    EXPECT_FALSE(pushRun(ring, 5, 3));
    EXPECT_FALSE(pushRun(ring, 5, 2, 1));
    EXPECT_TRUE(pushRun(ring, 5, 2));
    unsigned char byte = 0;
    EXPECT_FALSE(ring.PushBack(&byte, UINT_MAX));
    EXPECT_FALSE(ring.PushBack(&byte, 0x80000000U));
}

TEST(CTSPacketBuffer, MoreThanIsHeldIsNotPopped) {
    CTSPacketBuffer ring(1000);
    pushRun(ring, 1, 3);
    EXPECT_FALSE(ring.PopFront(3 * kPacket + 1, nullptr));
    EXPECT_FALSE(ring.PopFront(UINT_MAX, nullptr));
    EXPECT_EQ(ring.Size(), 3 * kPacket);
}

TEST(CTSPacketBuffer, NullIsRefused) {
    CTSPacketBuffer ring(1000);
    EXPECT_FALSE(ring.PushBackPacket(nullptr));
    EXPECT_FALSE(ring.PushBack(nullptr, kPacket));
    EXPECT_TRUE(ring.Empty());
}

TEST(CTSPacketBuffer, PopToNullDropsUnread) {
    CTSPacketBuffer ring(1000);
    pushRun(ring, 1, 4);
    EXPECT_TRUE(ring.PopFront(2 * kPacket, nullptr));
    EXPECT_EQ(popRun(ring, 2), (Marks{3, 4}));
}

TEST(CTSPacketBuffer, AWrappedRunIsPoppedInOnePieceUpToTheEnd) {
    CTSPacketBuffer ring(4 * kPacket);
    pushRun(ring, 1, 3);
    ring.PopFront(3 * kPacket, nullptr);
    for (int i = 0; i < 3; ++i) // one before the end, two behind it
        pushPacket(ring, 10 + i);
    EXPECT_EQ(popRun(ring, 1), (Marks{10}));
    EXPECT_EQ(popRun(ring, 2), (Marks{11, 12}));
}

TEST(CTSPacketBuffer, AWrappedPopSetsItsPositionAWholeRunBehindTheStart) {
    CTSPacketBuffer ring(4 * kPacket);
    pushRun(ring, 1, 3);
    ring.PopFront(3 * kPacket, nullptr);
    for (int i = 0; i < 4; ++i)
        pushPacket(ring, 10 + i); // slots 3, 0, 1, 2
    EXPECT_EQ(popRun(ring, 2), (Marks{10, 11}));
    EXPECT_EQ(front(ring), 13); // slot 2, though slot 1 was next
}

TEST(CTSPacketBuffer, AWrappingPushLeavesItsPositionAWholeRunBehindTheStart) {
    CTSPacketBuffer ring(4 * kPacket);
    pushRun(ring, 1, 3);
    ring.PopFront(3 * kPacket, nullptr);
    EXPECT_TRUE(pushRun(ring, 10, 2)); // slots 3 and 0, next slot 2
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(ring.Size(), 3 * kPacket);
    EXPECT_EQ(popRun(ring, 1), (Marks{10}));
    EXPECT_EQ(popRun(ring, 1), (Marks{11}));
    EXPECT_EQ(popRun(ring, 1), (Marks{2})); // slot 1 still holds what it held before
}

TEST(CTSPacketBuffer, AWrappingPushOfAsManyPacketsAsTheRingHasEndsAtTheStart) {
    CTSPacketBuffer ring(4 * kPacket);
    pushPacket(ring, 1);
    ring.PopFront();
    EXPECT_TRUE(pushRun(ring, 10, 4)); // slots 1, 2, 3, 0, next slot 0
    EXPECT_EQ(ring.FreeSize(), 0U);
    ring.PopFront();
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(popRun(ring, 2), (Marks{11, 12}));
}

TEST(CTSPacketBuffer, AnOddPushStoresItsRestAndSkipsAsManyPacketsAgain) {
    CTSPacketBuffer ring(6 * kPacket);
    EXPECT_TRUE(pushRun(ring, 1, 2, 10)); // slots 0 and 1, the rest in slot 2, next slot 4
    EXPECT_EQ(ring.Size(), 2 * kPacket + 10);
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(popRun(ring, 2), (Marks{1, 2}));
    const ExactBytes out(kPacket);
    EXPECT_TRUE(ring.GetFront(out.data()));
    EXPECT_EQ(out[9], 3);
    EXPECT_EQ(out[10], 0);
    ring.PopFront();
    EXPECT_EQ(ring.Size(), 10U);
    ring.PopFront();
    EXPECT_EQ(ring.Size(), 10U); // not a whole packet
    EXPECT_TRUE(ring.GetFront(nullptr));
}

TEST(CTSPacketBuffer, AnOddPushThatEndsAtTheVeryEndStopsSinglePackets) {
    CTSPacketBuffer ring(5 * kPacket);
    pushPacket(ring, 1);
    EXPECT_TRUE(pushRun(ring, 2, 2, 10)); // slot 1 + 2 + 2 is the end
    const unsigned int before = ring.Size();
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(ring.Size(), before);
    EXPECT_EQ(popRun(ring, 3), (Marks{1, 2, 3}));
}

TEST(CTSPacketBuffer, ARunPushedAtTheVeryEndIsCountedButNotStored) {
    CTSPacketBuffer ring(5 * kPacket);
    pushPacket(ring, 1);
    pushRun(ring, 2, 2, 10);
    const unsigned int before = ring.Size();
    EXPECT_TRUE(pushRun(ring, 20, 1));
    EXPECT_EQ(ring.Size(), before + kPacket);
    EXPECT_EQ(popRun(ring, 1), (Marks{1})); // slot 0 was not written over
}

TEST(CTSPacketBuffer, AnOddPushBeyondTheEndGoesRoundTheRing) {
    CTSPacketBuffer ring(5 * kPacket);
    EXPECT_TRUE(pushRun(ring, 1, 4, 10)); // 4 + 4 is slot 3 of the next round
    ring.PopFront(2 * kPacket, nullptr);
    EXPECT_TRUE(pushPacket(ring, 20));
    EXPECT_EQ(popRun(ring, 2), (Marks{3, 20})); // slot 3 was written over
}

TEST(CTSPacketBuffer, APopBeyondTheEndIsClippedToTheRing) {
    CTSPacketBuffer ring(4 * kPacket);
    pushRun(ring, 1, 3);
    ring.PopFront(2 * kPacket, nullptr); // reads on from slot 2
    pushRun(ring, 10, 3);                // slots 3, 0 and 1, next slot 3
    EXPECT_EQ(popRun(ring, 4), (Marks{3, 10, 0xEE, 0xEE}));
    EXPECT_TRUE(ring.Empty());
}

TEST(CTSPacketBuffer, AnOddPopTakesItsRestAndStepsByWholePackets) {
    CTSPacketBuffer ring(4 * kPacket);
    pushRun(ring, 1, 3);
    const ExactBytes out(kPacket + 100);
    EXPECT_TRUE(ring.PopFront(out.uintSize(), out.data()));
    EXPECT_EQ(out[kPacket + 99], 2);
    EXPECT_EQ(ring.Size(), 2 * kPacket - 100);
    EXPECT_EQ(front(ring), 2); // the packet that was begun is the oldest still
}

TEST(CTSPacketBuffer, SetMaxSizeOfZeroKeepsTheRing) {
    CTSPacketBuffer ring(1000);
    pushPacket(ring, 3);
    ring.SetMaxSize(0);
    EXPECT_EQ(ring.MaxSize(), 940U);
    EXPECT_EQ(front(ring), 3);
}

TEST(CTSPacketBuffer, AnyOtherSetMaxSizeEmptiesIt) {
    CTSPacketBuffer ring(1000);
    pushRun(ring, 3, 2);
    ring.SetMaxSize(1000);
    EXPECT_EQ(ring.MaxSize(), 940U);
    EXPECT_TRUE(ring.Empty());
    pushPacket(ring, 3);
    ring.SetMaxSize(400);
    EXPECT_EQ(ring.MaxSize(), 2 * kPacket);
    EXPECT_EQ(ring.FreeSize(), 2 * kPacket);
    EXPECT_FALSE(ring.GetFront(nullptr));
}

TEST(CTSPacketBuffer, ARingOfLessThanAPacketHoldsNothing) {
    CTSPacketBuffer ring(187);
    EXPECT_EQ(ring.MaxSize(), 0U);
    EXPECT_FALSE(pushPacket(ring, 1));
    EXPECT_FALSE(pushRun(ring, 1, 1));
    ring.PopFront();
    ring.Clear();
    EXPECT_FALSE(ring.GetFront(nullptr));
    ring.SetMaxSize(kPacket);
    EXPECT_TRUE(pushPacket(ring, 1));
    ring.SetMaxSize(5);
    EXPECT_EQ(ring.MaxSize(), 0U);
}

TEST(CTSPacketBuffer, ARingOfNoCapacityHoldsNothing) {
    CTSPacketBuffer ring(0);
    EXPECT_EQ(ring.MaxSize(), 0U);
    EXPECT_FALSE(pushPacket(ring, 1));
    EXPECT_FALSE(ring.PopFront(kPacket, nullptr));
}

TEST(CTSPacketBuffer, ASizeBeyondItsRangeKeepsTheRing) {
    CTSPacketBuffer ring(1000);
    pushPacket(ring, 3);
    ring.SetMaxSize(UINT_MAX);
    EXPECT_EQ(ring.MaxSize(), 940U);
    EXPECT_EQ(front(ring), 3);
}

TEST(CTSPacketBuffer, ClearStartsOver) {
    CTSPacketBuffer ring(1000);
    pushRun(ring, 1, 3, 5);
    ring.Clear();
    EXPECT_TRUE(ring.Empty());
    EXPECT_EQ(ring.FreeSize(), 940U);
    EXPECT_TRUE(pushRun(ring, 10, 5));
    EXPECT_EQ(popRun(ring, 5), (Marks{10, 11, 12, 13, 14}));
}

TEST(CTSPacketBuffer, HandsOutNoText) {
    CTSPacketBuffer ring(1000);
    pushPacket(ring, 'a');
    EXPECT_EQ(ring.GetString(), "");
}

/// One operation on the ring and on its model.
void step(CTSPacketBuffer& ring, RingModel& model, std::mt19937& random) {
    const auto packets = static_cast<unsigned int>(random() % 5);
    const auto rest = static_cast<unsigned int>(random() % 3 == 0 ? random() % kPacket : 0);
    const ExactBytes bytes = run(static_cast<int>(random() % 256), packets, rest);
    std::vector<unsigned char> expected(std::max<size_t>(bytes.size(), kPacket), 0xEE);
    const ExactBytes out(expected);
    switch (random() % 6) {
    case 0:
        ASSERT_EQ(ring.PushBack(bytes.data(), bytes.uintSize()),
                  model.pushBack(bytes.data(), bytes.size()));
        break;
    case 1: {
        const ExactBytes one = packet(static_cast<int>(random() % 256));
        ASSERT_EQ(ring.PushBackPacket(one.data()), model.pushBackPacket(one.data()));
        break;
    }
    case 2:
        ASSERT_EQ(ring.GetFront(out.data()), model.getFront(expected));
        break;
    case 3:
        ring.PopFront();
        model.popFront();
        break;
    case 4:
        ASSERT_EQ(ring.PopFront(bytes.uintSize(), out.data()),
                  model.popFront(bytes.size(), expected));
        break;
    default:
        if (random() % 50 == 0) {
            ring.Clear();
            model.clear();
        }
    }
    ASSERT_EQ(out.copy(), expected);
    ASSERT_EQ(ring.Size(), model.size());
    ASSERT_EQ(ring.FreeSize(), model.freeSize());
}

TEST(CTSPacketBuffer, AgreesWithAModelOverAnyMixOfOperations) {
    std::mt19937 random(13); // the same run every time
    for (int round = 0; round < 300; ++round) {
        const auto capacity = static_cast<unsigned int>(kPacket * (1 + random() % 8));
        CTSPacketBuffer ring(capacity);
        RingModel model(capacity);
        for (int i = 0; i < 200; ++i) {
            step(ring, model, random);
            ASSERT_FALSE(HasFatalFailure()) << round << ", " << i;
        }
    }
}

TEST(CTSPacketBuffer, AProducerAndAConsumerMeet) {
    constexpr int kPackets = 20000;
    CTSPacketBuffer ring(16 * kPacket);
    std::thread producer([&ring] {
        for (int i = 0; i < kPackets;) {
            if (pushPacket(ring, i % 251))
                ++i;
            else
                std::this_thread::yield();
        }
    });
    int wrong = 0;
    for (int i = 0; i < kPackets;) {
        unsigned char out[kPacket];
        if (!ring.GetFront(out)) {
            std::this_thread::yield();
            continue;
        }
        wrong += out[0] != i % 251 || out[kPacket - 1] != i % 251 ? 1 : 0;
        ring.PopFront();
        ++i;
    }
    producer.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(ring.Empty());
}

} // namespace
