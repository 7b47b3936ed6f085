#include <tools/hastool/ErrorOf.h>

#include <hastool/net/KeyStore.h>

#include <map>

#include <gtest/gtest.h>

using hastool::AesBytes;
using hastool::KeyStore;
using hastool::Outcome;
using test::errorOf;

namespace {

class KeyStoreTest : public testing::Test {
protected:
    Outcome fetch(const std::string& url, std::string& bytes) {
        ++m_fetches[url];
        Outcome outcome;
        const auto found = m_bodies.find(url);
        outcome.ok = found != m_bodies.end();
        if (outcome.ok)
            bytes = found->second;
        else
            outcome.failure = "HTTP 410";
        return outcome;
    }

    std::map<std::string, std::string> m_bodies;
    std::map<std::string, int> m_fetches;
    KeyStore m_keys{
        [this](const std::string& url, std::string& bytes) { return fetch(url, bytes); }};
};

} // namespace

TEST_F(KeyStoreTest, FetchesAKeyOnce) {
    m_bodies["u"] = "0123456789abcdef";
    m_bodies["v"] = std::string(16, '\0');
    EXPECT_EQ(m_keys.get("u", "segment 1")[15], 'f');
    EXPECT_EQ(m_keys.get("v", "segment 2"), AesBytes());
    EXPECT_EQ(m_keys.get("u", "segment 3")[0], '0');
    EXPECT_EQ(m_fetches["u"], 1);
    EXPECT_EQ(m_fetches["v"], 1);
}

TEST_F(KeyStoreTest, SaysWhichKeyCannotBeHadAndWhatFor) {
    EXPECT_EQ(errorOf([&] { m_keys.get("u", "segment 7"); }), "u: the key of segment 7: HTTP 410");
    m_bodies["u"] = "0123456789abcdef";
    EXPECT_EQ(m_keys.get("u", "segment 7")[1], '1') << "it is asked for again";
}

TEST_F(KeyStoreTest, RefusesAKeyOfAnotherLength) {
    for (const size_t size : {0U, 15U, 17U, 32U}) {
        m_bodies["u"] = std::string(size, 'x');
        EXPECT_EQ(errorOf([&] { m_keys.get("u", "segment 0"); }),
                  "u: the key of segment 0 has " + std::to_string(size) + " bytes instead of 16");
    }
}

TEST_F(KeyStoreTest, ForgetsKeysRatherThanGrow) {
    for (size_t i = 0; i <= KeyStore::kMaxKeys; ++i) {
        m_bodies[std::to_string(i)] = std::string(16, 'k');
        m_keys.get(std::to_string(i), "segment");
    }
    m_keys.get(std::to_string(KeyStore::kMaxKeys), "segment");
    EXPECT_EQ(m_fetches[std::to_string(KeyStore::kMaxKeys)], 1) << "the latest is still there";
    m_keys.get("0", "segment");
    EXPECT_EQ(m_fetches["0"], 2);
}
