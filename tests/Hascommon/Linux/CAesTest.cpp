#include <Hascommon/Linux/CAes.h>
#include <support/AesPeer.h>
#include <support/AesStream.h>
#include <support/LogCapture.h>
#include <support/Pattern.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <thread>
#include <type_traits>

namespace {

using hascommon::aes::Decrypt;
using test::AesSetting;
using test::Bytes;
using test::Decrypted;
using test::decryptInPieces;
using test::encrypted;
using test::feed;
using test::finish;
using test::init;
using testing::ElementsAre;
using testing::IsEmpty;

const char kUpdateFailed[] = "Error! EVP_DecryptUpdate()";
const char kFinalFailed[] = "Error! EVP_DecryptFinal()";
const char kAlignError[] = "Error! Decrypt align error";

Bytes plainText(size_t size) {
    const std::string text = test::pattern(size).all();
    return {text.begin(), text.end()};
}

Bytes part(const Bytes& bytes, size_t first, size_t size) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(first);
    return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

AesSetting withoutPadding() {
    AesSetting setting;
    setting.padding = false;
    return setting;
}

class CAes : public testing::Test {
protected:
    Decrypt m_decrypt;
    Bytes m_out;
    test::LogCapture m_log;
};

TEST_F(CAes, HoldsItsErrorCodeAndOnePointer) {
    struct Layout {
        int lastErrorCode;
        void* block;
    };
    EXPECT_EQ(sizeof(Decrypt), sizeof(Layout));
    EXPECT_FALSE(std::is_polymorphic_v<Decrypt>);
    Decrypt failed;
    failed.Final();
    int first = 0;
    memcpy(&first, static_cast<const void*>(&failed), sizeof first);
    EXPECT_EQ(first, -11);
}

TEST_F(CAes, StartsWithoutAnError) {
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(CAes, InitSucceedsAndClearsTheErrorCode) {
    EXPECT_EQ(m_decrypt.Final(), -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    m_log.clear();
    EXPECT_EQ(init(m_decrypt, {}), 1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(CAes, InitDropsWhatIsCarried) {
    const Bytes plain = plainText(40);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    EXPECT_EQ(feed(m_decrypt, part(cipher, 0, 7), m_out), 0);
    const Decrypted result = decryptInPieces(m_decrypt, {}, cipher, 48);
    EXPECT_EQ(result.bytes, plain);
    EXPECT_FALSE(m_log.contains(kAlignError));
}

TEST_F(CAes, InitBeginsAnewInTheMiddleOfAStream) {
    const Bytes plain = plainText(100);
    AesSetting other;
    other.key = Bytes(16, 1);
    other.iv = Bytes(16, 2);
    init(m_decrypt, {});
    feed(m_decrypt, encrypted({}, plainText(64)), m_out);
    EXPECT_EQ(decryptInPieces(m_decrypt, other, encrypted(other, plain), 33).bytes, plain);
}

TEST_F(CAes, OddChunksYieldTheSameAsOne) {
    const Bytes plain = plainText(48);
    const Bytes cipher = encrypted(withoutPadding(), plain);
    init(m_decrypt, withoutPadding());
    EXPECT_EQ(feed(m_decrypt, part(cipher, 0, 5), m_out), 0);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 5, 11), m_out), 16);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 16, 1), m_out), 0);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 17, 31), m_out), 32);
    EXPECT_EQ(finish(m_decrypt, m_out), 0);
    EXPECT_EQ(m_out, plain);
    Bytes whole;
    init(m_decrypt, withoutPadding());
    EXPECT_EQ(feed(m_decrypt, cipher, whole), 48);
    EXPECT_EQ(whole, plain);
}

TEST_F(CAes, PaddingHoldsTheLatestBlockBack) {
    const Bytes plain = plainText(40);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    EXPECT_EQ(feed(m_decrypt, part(cipher, 0, 16), m_out), 0);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 16, 32), m_out), 32);
    EXPECT_EQ(finish(m_decrypt, m_out), 8);
    EXPECT_EQ(m_out, plain);
}

TEST_F(CAes, AHeldBackBlockComesOutWithTheNextOnes) {
    const Bytes plain = plainText(80);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    feed(m_decrypt, part(cipher, 0, 20), m_out);
    // 12 + 48 bytes: the block that is completed and three more, less the one held back again.
    EXPECT_EQ(feed(m_decrypt, part(cipher, 20, 60), m_out), 64);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 80, 16), m_out), 16);
    EXPECT_EQ(finish(m_decrypt, m_out), 0);
    EXPECT_EQ(m_out, plain);
}

TEST_F(CAes, AChunkThatReachesNoBoundaryWritesNothing) {
    init(m_decrypt, withoutPadding());
    unsigned char out[32];
    memset(out, 0xEE, sizeof out);
    Bytes in(15, 1);
    EXPECT_EQ(m_decrypt.Do(in.data(), 10, out), 0);
    EXPECT_EQ(m_decrypt.Do(in.data(), 5, out), 0);
    EXPECT_THAT(out, testing::Each(0xEE));
    EXPECT_EQ(m_decrypt.Do(in.data(), 1, out), 16);
}

TEST_F(CAes, AnEmptyChunkChangesNothing) {
    const Bytes plain = plainText(16);
    const Bytes cipher = encrypted(withoutPadding(), plain);
    EXPECT_EQ(m_decrypt.Do(nullptr, 0, nullptr), 0) << "before Init() as well";
    init(m_decrypt, withoutPadding());
    feed(m_decrypt, part(cipher, 0, 3), m_out);
    EXPECT_EQ(m_decrypt.Do(nullptr, 0, nullptr), 0);
    EXPECT_EQ(feed(m_decrypt, part(cipher, 3, 13), m_out), 16);
    EXPECT_EQ(m_out, plain);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
}

TEST_F(CAes, EveryPairOfChunksYieldsTheSame) {
    const Bytes plain = plainText(70);
    const Bytes cipher = encrypted({}, plain);
    for (size_t first = 0; first <= cipher.size(); ++first) {
        m_out.clear();
        init(m_decrypt, {});
        EXPECT_GE(feed(m_decrypt, part(cipher, 0, first), m_out), 0);
        EXPECT_GE(feed(m_decrypt, part(cipher, first, cipher.size() - first), m_out), 0);
        EXPECT_EQ(finish(m_decrypt, m_out), 6);
        EXPECT_EQ(m_out, plain) << first;
    }
}

TEST_F(CAes, EverySizeOfPieceYieldsTheSame) {
    for (const size_t size : {0U, 1U, 15U, 16U, 17U, 187U, 188U, 4096U, 70000U}) {
        const Bytes plain = plainText(size);
        const Bytes cipher = encrypted({}, plain);
        for (const size_t piece : {1U, 7U, 15U, 16U, 17U, 188U, 4096U, 100000U}) {
            const Decrypted result = decryptInPieces(m_decrypt, {}, cipher, piece);
            EXPECT_TRUE(result.ok) << size << " in pieces of " << piece;
            EXPECT_EQ(result.bytes, plain) << size << " in pieces of " << piece;
        }
    }
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(CAes, WithoutPaddingTheLastBlockIsRaw) {
    const Bytes plain = plainText(20);
    const Bytes cipher = encrypted({}, plain);
    const Decrypted result = decryptInPieces(m_decrypt, withoutPadding(), cipher, 32);
    ASSERT_EQ(result.bytes.size(), 32U);
    EXPECT_EQ(part(result.bytes, 0, 20), plain);
    EXPECT_THAT(part(result.bytes, 20, 12), testing::Each(12));
}

TEST_F(CAes, FinalDropsCarriedBytesWithALineInTheLog) {
    init(m_decrypt, {});
    feed(m_decrypt, Bytes(7, 1), m_out);
    EXPECT_EQ(m_decrypt.Final(), -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    EXPECT_THAT(m_log.messages("CAes.cpp"), ElementsAre(kAlignError, kFinalFailed));
}

TEST_F(CAes, FinalJudgesTheEndWithoutTheCarriedBytes) {
    const Bytes plain = plainText(20);
    Bytes cipher = encrypted({}, plain);
    cipher.insert(cipher.end(), 7, 0xAA);
    const Decrypted padded = decryptInPieces(m_decrypt, {}, cipher, 11);
    EXPECT_EQ(padded.lastCall, 4);
    EXPECT_EQ(padded.bytes, plain);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_EQ(decryptInPieces(m_decrypt, withoutPadding(), cipher, 39).lastCall, 0);
    EXPECT_THAT(m_log.messages(), ElementsAre(kAlignError, kAlignError));
}

TEST_F(CAes, FinalFailsAfterAWrongKey) {
    AesSetting wrong;
    wrong.key = Bytes(16, 9);
    const Decrypted result = decryptInPieces(m_decrypt, wrong, encrypted({}, plainText(20)), 32);
    EXPECT_EQ(result.lastCall, -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    EXPECT_THAT(m_log.messages(), ElementsAre(kFinalFailed));
}

TEST_F(CAes, FinalFailsWhereThereIsNoPadding) {
    Bytes plain = plainText(32);
    plain.back() = 0;
    const Bytes cipher = encrypted(withoutPadding(), plain);
    EXPECT_EQ(decryptInPieces(m_decrypt, {}, cipher, 32).lastCall, -1);
    EXPECT_EQ(decryptInPieces(m_decrypt, {}, {}, 16).lastCall, -1) << "nothing at all";
    EXPECT_EQ(m_log.count(kFinalFailed), 2);
    EXPECT_EQ(decryptInPieces(m_decrypt, withoutPadding(), {}, 16).lastCall, 0);
}

TEST_F(CAes, FailuresCarryTheirPlaceAndAreOrdinaryLines) {
    m_decrypt.Final();
    Bytes block(16, 0);
    m_decrypt.Do(block.data(), 16, block.data());
    const test::LogLine final = m_log.find(kFinalFailed);
    EXPECT_EQ(final.file, "CAes.cpp");
    EXPECT_EQ(final.function, "Final");
    EXPECT_EQ(final.priority, 4);
    EXPECT_EQ(final.tag, "DASH_HLS");
    EXPECT_EQ(m_log.find(kUpdateFailed).function, "Do");
}

TEST_F(CAes, TheErrorCodeStaysUntilInit) {
    m_decrypt.Final();
    EXPECT_EQ(feed(m_decrypt, Bytes(3, 1), m_out), 0);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    init(m_decrypt, {});
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
}

TEST_F(CAes, DoFailsBeforeInit) {
    EXPECT_EQ(feed(m_decrypt, Bytes(16, 1), m_out), -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    EXPECT_THAT(m_log.messages("CAes.cpp"), ElementsAre(kUpdateFailed));
}

TEST_F(CAes, AnIncompleteBlockIsKeptBeforeInitAndThenFails) {
    EXPECT_EQ(feed(m_decrypt, Bytes(15, 1), m_out), 0);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_EQ(feed(m_decrypt, Bytes(1, 1), m_out), -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
}

TEST_F(CAes, FinalEndsTheStream) {
    const Bytes cipher = encrypted({}, plainText(20));
    decryptInPieces(m_decrypt, {}, cipher, 32);
    EXPECT_EQ(feed(m_decrypt, cipher, m_out), -1);
    EXPECT_EQ(m_decrypt.Final(), -1);
    EXPECT_THAT(m_log.messages(), ElementsAre(kUpdateFailed, kFinalFailed));
    EXPECT_EQ(decryptInPieces(m_decrypt, {}, cipher, 32).bytes, plainText(20));
}

TEST_F(CAes, UndecryptedDataIsAlwaysABlock) {
    EXPECT_EQ(m_decrypt.GetUndecryptedData(), 16);
    init(m_decrypt, {});
    EXPECT_EQ(m_decrypt.GetUndecryptedData(), 16);
    feed(m_decrypt, Bytes(5, 1), m_out);
    EXPECT_EQ(m_decrypt.GetUndecryptedData(), 16);
    m_decrypt.Final();
    EXPECT_EQ(m_decrypt.GetUndecryptedData(), 16);
}

TEST_F(CAes, TheFinalBufferStaysWhereItIs) {
    unsigned char* const buffer = m_decrypt.GetFinalBuffer();
    ASSERT_NE(buffer, nullptr);
    decryptInPieces(m_decrypt, {}, encrypted({}, plainText(5)), 16);
    EXPECT_EQ(m_decrypt.GetFinalBuffer(), buffer);
    EXPECT_EQ(Bytes(buffer, buffer + 5), plainText(5));
}

TEST_F(CAes, InitWithoutAKeySucceedsAndDoFails) {
    Bytes iv(16, 0);
    init(m_decrypt, {});
    EXPECT_EQ(m_decrypt.Init(nullptr, iv.data(), true), 1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_EQ(feed(m_decrypt, Bytes(16, 1), m_out), -1);
    EXPECT_EQ(m_decrypt.Final(), -1);
}

TEST_F(CAes, InitWithoutAVectorTakesZeros) {
    AesSetting zeros = withoutPadding();
    zeros.iv = Bytes(16, 0);
    const Bytes plain = plainText(32);
    init(m_decrypt, {}); // leaves a vector behind that must not be taken
    EXPECT_EQ(m_decrypt.Init(zeros.key.data(), nullptr, false), 1);
    feed(m_decrypt, encrypted(zeros, plain), m_out);
    EXPECT_EQ(m_out, plain);
}

TEST_F(CAes, InitLeavesKeyAndVectorAsTheyAre) {
    AesSetting setting;
    EXPECT_EQ(m_decrypt.Init(setting.key.data(), setting.iv.data(), true), 1);
    EXPECT_EQ(setting.key, AesSetting().key);
    EXPECT_EQ(setting.iv, AesSetting().iv);
}

TEST_F(CAes, AChunkBeyondIntFailsUntouched) {
    init(m_decrypt, withoutPadding());
    Bytes block(16, 1);
    for (const unsigned int size : {static_cast<unsigned int>(INT_MAX) + 1, UINT_MAX}) {
        EXPECT_EQ(m_decrypt.Do(block.data(), size, block.data()), -1);
        EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
    }
    EXPECT_EQ(feed(m_decrypt, Bytes(1, 1), m_out), 0);
    EXPECT_EQ(m_decrypt.Do(block.data(), static_cast<unsigned int>(INT_MAX), block.data()), -1)
        << "with the carried byte it is beyond";
    EXPECT_EQ(m_log.count(kUpdateFailed), 3);
}

TEST_F(CAes, MissingAreasFail) {
    init(m_decrypt, withoutPadding());
    Bytes block(16, 1);
    EXPECT_EQ(m_decrypt.Do(nullptr, 16, block.data()), -1);
    EXPECT_EQ(m_decrypt.Do(block.data(), 16, nullptr), -1);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
}

TEST_F(CAes, ACopySharesTheStream) {
    const Bytes plain = plainText(60);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    feed(m_decrypt, part(cipher, 0, 21), m_out);
    Decrypt copy(m_decrypt);
    EXPECT_EQ(copy.GetFinalBuffer(), m_decrypt.GetFinalBuffer());
    feed(copy, part(cipher, 21, 9), m_out);
    feed(m_decrypt, part(cipher, 30, 34), m_out);
    EXPECT_EQ(finish(copy, m_out), 12);
    EXPECT_EQ(m_out, plain);
    EXPECT_EQ(feed(m_decrypt, cipher, m_out), -1) << "the copy has ended it";
}

TEST_F(CAes, ACopyHasAnErrorCodeOfItsOwn) {
    m_decrypt.Final();
    Decrypt copy(m_decrypt);
    EXPECT_EQ(copy.GetLastErrorCode(), -11);
    init(copy, {});
    EXPECT_EQ(copy.GetLastErrorCode(), 0);
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), -11);
}

TEST_F(CAes, ACopyOutlivesItsOriginal) {
    const Bytes plain = plainText(40);
    const Bytes cipher = encrypted({}, plain);
    auto original = std::make_unique<Decrypt>();
    init(*original, {});
    feed(*original, part(cipher, 0, 20), m_out);
    Decrypt copy(*original);
    const Decrypt another(copy);
    original.reset();
    feed(copy, part(cipher, 20, 28), m_out);
    EXPECT_EQ(finish(copy, m_out), 8);
    EXPECT_EQ(m_out, plain);
}

TEST_F(CAes, AssignmentTakesTheErrorCodeAndNothingElse) {
    Decrypt other;
    init(other, {});
    m_decrypt.Final();
    other = m_decrypt;
    EXPECT_EQ(other.GetLastErrorCode(), -11);
    m_log.clear();
    EXPECT_EQ(feed(other, Bytes(16, 1), m_out), -1) << "the key is gone";
    EXPECT_EQ(other.GetLastErrorCode(), -11);
    EXPECT_THAT(m_log.messages(), ElementsAre(kUpdateFailed));
}

TEST_F(CAes, AssignmentDoesNotTakeTheStreamOver) {
    const Bytes plain = plainText(40);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    feed(m_decrypt, part(cipher, 0, 20), m_out);
    Decrypt other;
    other = m_decrypt;
    EXPECT_NE(other.GetFinalBuffer(), m_decrypt.GetFinalBuffer());
    Bytes ignored;
    EXPECT_EQ(feed(other, Bytes(16, 1), ignored), -1);
    feed(m_decrypt, part(cipher, 20, 28), m_out);
    EXPECT_EQ(finish(m_decrypt, m_out), 8);
    EXPECT_EQ(m_out, plain) << "the one assigned from goes on";
    EXPECT_EQ(decryptInPieces(other, {}, cipher, 48).bytes, plain) << "and so does this, anew";
}

TEST_F(CAes, AssignmentLeavesTheCopiesOfTheOldStreamAlone) {
    const Bytes plain = plainText(40);
    const Bytes cipher = encrypted({}, plain);
    init(m_decrypt, {});
    Decrypt copy(m_decrypt);
    m_decrypt = Decrypt();
    feed(copy, cipher, m_out);
    EXPECT_EQ(finish(copy, m_out), 8);
    EXPECT_EQ(m_out, plain);
}

TEST_F(CAes, AssignmentToItselfEndsTheStream) {
    init(m_decrypt, {});
    Decrypt& same = m_decrypt;
    m_decrypt = same;
    EXPECT_EQ(m_decrypt.GetLastErrorCode(), 0);
    EXPECT_EQ(feed(m_decrypt, Bytes(16, 1), m_out), -1);
}

TEST_F(CAes, SharesMayBeGivenUpOnDifferentThreads) {
    for (int i = 0; i < 50; ++i) {
        auto copy = std::make_unique<Decrypt>(m_decrypt);
        auto original = std::make_unique<Decrypt>(*copy);
        std::thread thread([&] { copy.reset(); });
        original.reset();
        thread.join();
    }
    EXPECT_EQ(init(m_decrypt, {}), 1);
}

} // namespace
