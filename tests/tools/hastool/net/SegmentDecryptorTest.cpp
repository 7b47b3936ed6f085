#include <hastool/net/SegmentDecryptor.h>
#include <support/AesPeer.h>
#include <support/Child.h>
#include <support/ExactBytes.h>
#include <support/Pattern.h>

#include <algorithm>

#include <gtest/gtest.h>

using hastool::AesBytes;
using hastool::MemorySink;
using hastool::SegmentDecryptor;
using test::AesSetting;
using test::Bytes;

namespace {

constexpr size_t kLimit = 8u << 20;

AesBytes arrayOf(const Bytes& bytes) {
    AesBytes result;
    std::copy(bytes.begin(), bytes.end(), result.begin());
    return result;
}

class SegmentDecryptorTest : public testing::Test {
protected:
    /// Feeds a text in pieces of a size. @return whether all went well
    bool decrypt(const Bytes& cipher, size_t piece, size_t limit = kLimit) {
        MemorySink sink(limit);
        SegmentDecryptor decryptor(arrayOf(m_setting.key), arrayOf(m_setting.iv), m_setting.padding,
                                   sink);
        bool ok = true;
        for (size_t at = 0; ok && at < cipher.size(); at += piece) {
            const auto begin = cipher.begin() + static_cast<std::ptrdiff_t>(at);
            const auto size = std::min(piece, cipher.size() - at);
            const auto in = test::ExactBytes::of(begin, begin + static_cast<std::ptrdiff_t>(size));
            ok = decryptor.write(in.data(), in.size());
        }
        ok = ok && decryptor.finish();
        m_plain = std::move(sink.bytes());
        m_failure = decryptor.failure();
        return ok;
    }
    Bytes encrypted(const std::string& plain) const {
        return test::encrypted(m_setting, {plain.begin(), plain.end()});
    }

    AesSetting m_setting;
    std::string m_plain;
    std::string m_failure;
};

} // namespace

TEST_F(SegmentDecryptorTest, HandsOnThePlainTextOfChunksOfAnySize) {
    for (const size_t size : {0U, 1U, 16U, 1000U, 300000U}) {
        const std::string plain = test::pattern(size).all();
        for (const size_t piece : {1U, 7U, 16U, 188U, 16384U, 1000000U}) {
            if (size / piece > 100000)
                continue;
            EXPECT_TRUE(decrypt(encrypted(plain), piece)) << m_failure;
            EXPECT_TRUE(m_plain == plain) << size << " in pieces of " << piece;
            EXPECT_EQ(m_failure, "");
        }
    }
}

TEST_F(SegmentDecryptorTest, YieldsWhatTheOpensslProgramYields) {
    const test::TempDir dir;
    const Bytes cipher = encrypted(test::pattern(5000).all());
    const std::string in =
        dir.write("in", {reinterpret_cast<const char*>(cipher.data()), cipher.size()});
    test::runOk({"openssl", "enc", "-d", "-aes-128-cbc", "-K", std::string(32, '2'), "-iv",
                 std::string(32, '7'), "-nopad", "-in", in, "-out", dir.file("out")});
    m_setting.key = Bytes(16, 0x22);
    m_setting.iv = Bytes(16, 0x77);
    m_setting.padding = false;
    EXPECT_TRUE(decrypt(cipher, 188));
    EXPECT_TRUE(m_plain == test::readFile(dir.file("out")));
}

TEST_F(SegmentDecryptorTest, LeavesTheEndAsItIsWithoutPadding) {
    m_setting.padding = false;
    const std::string plain = test::pattern(64).all();
    EXPECT_TRUE(decrypt(encrypted(plain), 10));
    EXPECT_EQ(m_plain, plain);
    EXPECT_TRUE(decrypt({}, 10));
    EXPECT_EQ(m_plain, "");
}

TEST_F(SegmentDecryptorTest, SaysWhatIsWrongWithTheEnd) {
    const Bytes cipher = encrypted(test::pattern(1000).all());
    Bytes cut = cipher;
    cut.resize(999);
    EXPECT_FALSE(decrypt(cut, 100));
    EXPECT_EQ(m_failure, "cut short or not encrypted: 999 bytes are no whole blocks of 16");
    EXPECT_FALSE(decrypt({}, 100));
    EXPECT_EQ(m_failure, "empty, without even the padding");
    cut.resize(16);
    EXPECT_FALSE(decrypt(cut, 100));
    const std::string bad = "bad padding: wrong key or initialisation vector, or damaged data";
    EXPECT_EQ(m_failure, bad);
    m_setting.key = Bytes(16, 9);
    EXPECT_FALSE(decrypt(cipher, 100));
    EXPECT_EQ(m_failure, bad);
}

TEST_F(SegmentDecryptorTest, SaysWhatIsWrongWithTheSink) {
    const Bytes cipher = encrypted(test::pattern(3u << 20).all());
    EXPECT_FALSE(decrypt(cipher, 100000, 1u << 20));
    EXPECT_EQ(m_failure, "more than 1 MiB");
}

TEST_F(SegmentDecryptorTest, StaysFailed) {
    MemorySink sink(0);
    SegmentDecryptor decryptor(arrayOf(m_setting.key), arrayOf(m_setting.iv), false, sink);
    const Bytes block(16, 1);
    EXPECT_FALSE(decryptor.write(block.data(), block.size()));
    EXPECT_FALSE(decryptor.write(block.data(), 1));
    EXPECT_FALSE(decryptor.finish());
    EXPECT_EQ(decryptor.failure(), "more than 0 MiB");
}
