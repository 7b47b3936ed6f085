// What the decryptor allocates, and what it does when there is nothing left.
#include <Hascommon/Linux/CAes.h>
#include <support/AesPeer.h>
#include <support/FailingNew.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <openssl/crypto.h>

namespace {

using hascommon::aes::Decrypt;
using test::AesSetting;
using test::Bytes;
using test::FailingNew;

std::atomic<int> g_allocations{0};
std::atomic<bool> g_fails{false};

void* countedMalloc(size_t size, const char*, int) {
    ++g_allocations;
    return g_fails ? nullptr : malloc(size);
}
void* countedRealloc(void* block, size_t size, const char*, int) {
    ++g_allocations;
    return g_fails ? nullptr : realloc(block, size);
}
void plainFree(void* block, const char*, int) {
    free(block);
}

// OpenSSL takes these only before it has allocated anything.
const bool g_counts = CRYPTO_set_mem_functions(countedMalloc, countedRealloc, plainFree) == 1;

TEST(AesMemory, NothingIsAllocatedBehindTheConstructor) {
    ASSERT_TRUE(g_counts);
    AesSetting setting;
    Bytes cipher = test::encrypted(setting, Bytes(4097, 5));
    Bytes out(cipher.size() + 16);
    Decrypt decrypt;
    const int before = g_allocations;
    const FailingNew none(0);
    int produced = 0;
    for (int stream = 0; stream < 3; ++stream) {
        ASSERT_EQ(decrypt.Init(setting.key.data(), setting.iv.data(), true), 1);
        produced = decrypt.Do(cipher.data(), 1000, out.data());
        produced += decrypt.Do(cipher.data() + 1000, 3, out.data());
        produced += decrypt.Do(cipher.data() + 1003,
                               static_cast<unsigned int>(cipher.size()) - 1003, out.data());
        produced += decrypt.Final();
    }
    EXPECT_FALSE(none.hasFailed());
    EXPECT_EQ(g_allocations, before);
    EXPECT_EQ(produced, 4097);
}

TEST(AesMemory, ACopyAllocatesNothing) {
    const Decrypt decrypt;
    const int before = g_allocations;
    const FailingNew none(0);
    const Decrypt copy(decrypt);
    EXPECT_FALSE(none.hasFailed());
    EXPECT_EQ(g_allocations, before);
}

/// A decryptor that found no memory.
class Bare {
public:
    Bare() {
        const FailingNew failing(0);
        m_decrypt = new (m_place) Decrypt;
    }
    ~Bare() { m_decrypt->~Decrypt(); }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    Decrypt& operator*() const { return *m_decrypt; }

private:
    alignas(Decrypt) unsigned char m_place[sizeof(Decrypt)];
    Decrypt* m_decrypt = nullptr;
};

TEST(AesMemory, WithoutABlockEveryCallFailsCleanly) {
    AesSetting setting;
    Bytes block(32, 1);
    const test::LogCapture log;
    const Bare bare;
    Decrypt& decrypt = *bare;
    EXPECT_EQ(decrypt.GetLastErrorCode(), 0);
    EXPECT_EQ(decrypt.GetFinalBuffer(), nullptr);
    EXPECT_EQ(decrypt.Init(setting.key.data(), setting.iv.data(), true), -1);
    EXPECT_EQ(decrypt.GetLastErrorCode(), -11);
    EXPECT_EQ(decrypt.Do(block.data(), 16, block.data() + 16), -1);
    EXPECT_EQ(decrypt.Final(), -1);
    EXPECT_EQ(decrypt.GetUndecryptedData(), 16);
    EXPECT_EQ(log.messages("CAes.cpp"),
              (std::vector<std::string>{"Error! EVP_DecryptInit()", "Error! EVP_DecryptUpdate()",
                                        "Error! EVP_DecryptFinal()"}));
}

TEST(AesMemory, ACopyOfOneWithoutABlockGetsItsOwn) {
    const Bare bare;
    AesSetting setting;
    Decrypt copy(*bare);
    EXPECT_NE(copy.GetFinalBuffer(), nullptr);
    EXPECT_EQ(copy.Init(setting.key.data(), setting.iv.data(), true), 1);
    EXPECT_EQ((*bare).GetFinalBuffer(), nullptr);
}

TEST(AesMemory, AssignmentToOneWithoutABlockMakesItShare) {
    const Bare bare;
    Decrypt other;
    *bare = other;
    EXPECT_EQ((*bare).GetFinalBuffer(), other.GetFinalBuffer());
    const Bare another;
    const Bare source;
    *another = *source;
    EXPECT_EQ((*another).GetFinalBuffer(), nullptr);
}

TEST(AesMemory, AssignmentWithoutMemoryLetsGoAllTheSame) {
    AesSetting setting;
    Decrypt decrypt;
    const Decrypt other;
    {
        const FailingNew failing(0);
        decrypt = other;
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(decrypt.GetFinalBuffer(), nullptr);
    EXPECT_EQ(decrypt.Init(setting.key.data(), setting.iv.data(), true), -1);
}

TEST(AesMemory, WithoutMemoryInOpenSslInitFails) {
    AesSetting setting;
    Bytes block(32, 1);
    const test::LogCapture log;
    g_fails = true;
    Decrypt decrypt;
    g_fails = false;
    EXPECT_EQ(decrypt.Init(setting.key.data(), setting.iv.data(), true), -1);
    EXPECT_EQ(decrypt.GetLastErrorCode(), -11);
    EXPECT_EQ(decrypt.Do(block.data(), 16, block.data() + 16), -1);
    EXPECT_EQ(decrypt.Final(), -1);
    EXPECT_TRUE(log.contains("Error! EVP_DecryptInit()"));
    EXPECT_NE(decrypt.GetFinalBuffer(), nullptr);
}

} // namespace
