#include <hastool/origin/FileAnswer.h>
#include <support/Pattern.h>
#include <support/TempDir.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

using hastool::Fault;
using hastool::FileAnswer;
using hastool::RateLimiter;

namespace {

constexpr size_t kSize = 200000;

class FileAnswerTest : public ::testing::Test {
protected:
    /// All bytes until the answer ends; m_isWhole and m_isReset then tell how it ended.
    std::string send(uint64_t first, uint64_t length, const std::optional<Fault>& fault = {}) {
        FileAnswer answer(m_path, first, length, fault, m_limiter);
        EXPECT_TRUE(answer.isOpen());
        std::string received;
        m_isWhole = true;
        while (m_isWhole && received.size() < length) {
            const std::string_view piece = answer.read(received.size());
            received += piece;
            m_isWhole = !piece.empty();
        }
        m_isReset = answer.isReset();
        return received;
    }
    static Fault fault(Fault::Kind kind) {
        Fault result;
        result.kind = kind;
        return result;
    }

    test::TempDir m_dir;
    const std::string m_bytes = test::pattern(kSize).all();
    const std::string m_path = m_dir.write("f", m_bytes);
    RateLimiter m_limiter{std::nullopt};
    bool m_isWhole = false;
    bool m_isReset = false;
};

} // namespace

TEST_F(FileAnswerTest, HandsOverAllOfIt) {
    EXPECT_TRUE(send(0, kSize) == m_bytes);
    EXPECT_TRUE(m_isWhole);
}

TEST_F(FileAnswerTest, HandsOverAPart) {
    EXPECT_TRUE(send(1000, 150000) == m_bytes.substr(1000, 150000));
    EXPECT_TRUE(m_isWhole);
}

TEST_F(FileAnswerTest, EndsInTheMiddleForAReset) {
    EXPECT_TRUE(send(1000, 100000, fault(Fault::Kind::Reset)) == m_bytes.substr(1000, 50000));
    EXPECT_FALSE(m_isWhole);
    EXPECT_TRUE(m_isReset);
}

TEST_F(FileAnswerTest, EndsBehindTheBytesOfATruncation) {
    Fault cut = fault(Fault::Kind::Truncate);
    cut.bytes = 70000;
    EXPECT_TRUE(send(5, 100000, cut) == m_bytes.substr(5, 70000));
    EXPECT_FALSE(m_isWhole);
    EXPECT_FALSE(m_isReset);
    cut.bytes = 0;
    EXPECT_EQ(send(5, 100000, cut), "");
    EXPECT_FALSE(m_isWhole);
}

TEST_F(FileAnswerTest, ATruncationBehindTheEndCutsNothing) {
    Fault cut = fault(Fault::Kind::Truncate);
    cut.bytes = kSize;
    EXPECT_TRUE(send(0, kSize, cut) == m_bytes);
    EXPECT_TRUE(m_isWhole);
}

TEST_F(FileAnswerTest, GoesOnBehindAStall) {
    Fault stall = fault(Fault::Kind::Stall);
    stall.seconds = 0.05;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(send(0, kSize, stall) == m_bytes);
    EXPECT_TRUE(m_isWhole);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(49));
}

TEST_F(FileAnswerTest, AStallEndsWithTheServer) {
    Fault stall = fault(Fault::Kind::Stall);
    stall.seconds = 10000;
    m_limiter.stop();
    EXPECT_EQ(send(0, 100, stall).size(), 50U);
    EXPECT_FALSE(m_isWhole);
}

TEST_F(FileAnswerTest, EndsWhereTheFileIsShorter) {
    FileAnswer answer(m_path, 0, kSize + 10, std::nullopt, m_limiter);
    EXPECT_EQ(answer.read(kSize), "");
}

TEST_F(FileAnswerTest, SaysWhenThereIsNoFile) {
    EXPECT_FALSE(FileAnswer(m_dir.file("none"), 0, 1, std::nullopt, m_limiter).isOpen());
}
