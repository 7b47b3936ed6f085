// What the decryptor allocates, and what it does when there is nothing left.
#include <Hascommon/Linux/CAes.h>
#include <support/AesPeer.h>
#include <support/FailingNew.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <new>
#include <optional>
#include <utility>

#include <openssl/crypto.h>

namespace {

using hascommon::aes::Decrypt;
using test::AesSetting;
using test::Bytes;
using test::FailingNew;

std::atomic<int> g_allocations{0};
std::atomic<bool> g_fails{false};

/// OpenSSL's memory while it is looked at. Written by the hooks, on the test's thread alone.
struct Watch {
    bool isOn = false;
    std::map<void*, size_t> sizes;
    std::map<void*, Bytes> freed;
};
/// Never destroyed: OpenSSL frees what it has when the program ends.
Watch& watch() {
    static Watch& instance = *new Watch;
    return instance;
}

Bytes contentOf(void* block, size_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(block);
    return {bytes, bytes + size};
}

void* countedMalloc(size_t size, const char*, int) {
    ++g_allocations;
    void* const block = g_fails ? nullptr : calloc(1, size != 0 ? size : 1);
    if (block != nullptr && watch().isOn)
        watch().sizes[block] = size;
    return block;
}
void* countedRealloc(void* block, size_t size, const char*, int) {
    ++g_allocations;
    watch().sizes.erase(block);
    return g_fails ? nullptr : realloc(block, size);
}
void watchedFree(void* block, const char*, int) {
    const auto found = watch().sizes.find(block);
    if (found != watch().sizes.end()) {
        watch().freed[block] = contentOf(block, found->second);
        watch().sizes.erase(found);
    }
    free(block);
}

// OpenSSL takes these only before it has allocated anything.
const bool g_counts = CRYPTO_set_mem_functions(countedMalloc, countedRealloc, watchedFree) == 1;

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

/// A decryptor of which every byte that OpenSSL holds for it can be looked at.
class WatchedDecrypt {
public:
    WatchedDecrypt() {
        watch() = {};
        watch().isOn = true;
        m_decrypt.emplace();
        watch().isOn = false;
    }
    ~WatchedDecrypt() { watch() = {}; }
    WatchedDecrypt(const WatchedDecrypt&) = delete;
    WatchedDecrypt& operator=(const WatchedDecrypt&) = delete;

    Decrypt& operator*() { return *m_decrypt; }
    void init(unsigned char fill) {
        Bytes key(16, fill);
        Bytes iv(16, 3);
        EXPECT_EQ(m_decrypt->Init(key.data(), iv.data(), false), 1);
    }
    void destroy() { m_decrypt.reset(); }
    static std::map<void*, Bytes> content() {
        std::map<void*, Bytes> result;
        for (const auto& [block, size] : watch().sizes)
            result[block] = contentOf(block, size);
        return result;
    }

private:
    std::optional<Decrypt> m_decrypt;
};

TEST(AesMemory, NothingOfTheKeyIsLeftBehindFinal) {
    WatchedDecrypt decrypt;
    Bytes block(16, 7);
    Bytes out(32);
    std::map<void*, Bytes> begun[2];
    std::map<void*, Bytes> ended[2];
    for (const int key : {0, 1}) {
        decrypt.init(static_cast<unsigned char>(0x51 + key));
        begun[key] = WatchedDecrypt::content();
        EXPECT_EQ((*decrypt).Do(block.data(), 16, out.data()), 16);
        EXPECT_EQ((*decrypt).Final(), 0);
        ended[key] = WatchedDecrypt::content();
    }
    EXPECT_FALSE(begun[0].empty());
    EXPECT_NE(begun[0], begun[1]);
    EXPECT_EQ(ended[0], ended[1]) << "two keys leave the same bytes";
}

TEST(AesMemory, NothingOfTheKeyIsFreedWithTheBlock) {
    WatchedDecrypt decrypt;
    decrypt.init(0x51);
    const auto first = WatchedDecrypt::content();
    decrypt.init(0x52);
    const auto second = WatchedDecrypt::content();
    decrypt.destroy();
    int holders = 0;
    for (const auto& [block, bytes] : second) {
        if (first.at(block) == bytes)
            continue;
        ++holders;
        EXPECT_THAT(watch().freed[block], testing::Each(0));
    }
    EXPECT_GE(holders, 1);
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
    EXPECT_EQ(log.find("Error! EVP_DecryptInit()").function, "Init");
    EXPECT_NE(decrypt.GetFinalBuffer(), nullptr);
}

} // namespace
