#include <Hasnet/ConcreateCurlFactory.h>
#include <support/FaultOrigin.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace {

using hascommon::ConcreateCurlFactory;
using hascommon::CurlEasy;
using hascommon::CurlMulti;
using hascommon::ICurlEasy;

using Factory = ConcreateCurlFactory<CurlEasy, CurlMulti>;

const void* number(long value) {
    return reinterpret_cast<const void*>(static_cast<std::intptr_t>(value));
}

size_t append(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

class CurlEasyTest : public ::testing::Test {
protected:
    void SetUp() override { m_easy.reset(m_factory.CreateCurlEasy()); }

    Factory m_factory;
    std::unique_ptr<ICurlEasy> m_easy;
    test::FaultOrigin m_origin;
};

TEST_F(CurlEasyTest, NewObjectHoldsAHandleAndNoError) {
    EXPECT_NE(m_easy->GetHandle(), nullptr);
    EXPECT_EQ(m_easy->GetLastError(), CURLE_OK);
}

TEST_F(CurlEasyTest, PerformRunsTheTransferToItsEnd) {
    m_origin.on("/a", test::Reply().body("hello"));
    std::string body;
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_URL, m_origin.url("/a").c_str()));
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_WRITEFUNCTION, reinterpret_cast<const void*>(append)));
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_WRITEDATA, &body));
    EXPECT_TRUE(m_easy->Perform());
    EXPECT_EQ(body, "hello");

    long status = 0;
    EXPECT_TRUE(m_easy->GetInfoWithLong(CURLINFO_RESPONSE_CODE, &status));
    EXPECT_EQ(status, 200);
    double time = -1;
    EXPECT_TRUE(m_easy->GetInfoWithDouble(CURLINFO_TOTAL_TIME, &time));
    EXPECT_GT(time, 0);
    char* url = nullptr;
    EXPECT_TRUE(m_easy->GetInfo(CURLINFO_EFFECTIVE_URL, &url));
    EXPECT_EQ(url, m_origin.url("/a"));
}

TEST_F(CurlEasyTest, FailureIsFalseAndKeptAsLastError) {
    EXPECT_FALSE(m_easy->Perform());
    EXPECT_EQ(m_easy->GetLastError(), CURLE_URL_MALFORMAT);
    EXPECT_FALSE(m_easy->Pause());
    EXPECT_EQ(m_easy->GetLastError(), CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_FALSE(m_easy->Resume());
    double value = 0;
    EXPECT_FALSE(m_easy->GetInfoWithDouble(CURLINFO_NONE, &value));
    EXPECT_EQ(m_easy->GetLastError(), CURLE_UNKNOWN_OPTION);
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_NOSIGNAL, number(1)));
    EXPECT_EQ(m_easy->GetLastError(), CURLE_OK);
}

TEST_F(CurlEasyTest, ResetGoesBackToDefaultsAndKeepsTheLastError) {
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_URL, "http://127.0.0.1/"));
    EXPECT_FALSE(m_easy->SetOpt(static_cast<CURLoption>(9999), number(0)));
    EXPECT_EQ(m_easy->GetLastError(), CURLE_UNKNOWN_OPTION);
    m_easy->Reset();
    EXPECT_EQ(m_easy->GetLastError(), CURLE_UNKNOWN_OPTION);
    EXPECT_FALSE(m_easy->Perform());
    EXPECT_EQ(m_easy->GetLastError(), CURLE_URL_MALFORMAT);
}

TEST_F(CurlEasyTest, OptionsOfEveryKindReachLibcurlAsTheirOwnType) {
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_TIMEOUT, number(99999)));
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_MAX_RECV_SPEED_LARGE, number(1000)));
    EXPECT_TRUE(m_easy->SetOpt(CURLOPT_PRIVATE, this));
    char* priv = nullptr;
    EXPECT_TRUE(m_easy->GetInfo(CURLINFO_PRIVATE, &priv));
    EXPECT_EQ(static_cast<void*>(priv), this);
    EXPECT_FALSE(m_easy->SetOpt(CURLOPT_TIMEOUT, number(-1)));
    EXPECT_EQ(m_easy->GetLastError(), CURLE_BAD_FUNCTION_ARGUMENT);
}

TEST(ConcreateCurlFactory, ReleaseOfNullDoesNothing) {
    Factory factory;
    factory.ReleaseCurlEasy(nullptr);
    factory.ReleaseCurlMulti(nullptr);
}

TEST(ConcreateCurlFactory, ReleaseDeletesWhatCreateMade) {
    Factory factory;
    factory.ReleaseCurlEasy(factory.CreateCurlEasy());
    factory.ReleaseCurlMulti(factory.CreateCurlMulti());
}

/// Handles of a libcurl that has none to give.
struct NoEasy : CurlEasy {
    NoEasy() { ++alive; }
    ~NoEasy() override { --alive; }
    CURL* GetHandle() override { return nullptr; }
    static int alive;
};
struct NoMulti : CurlMulti {
    CURLM* GetHandle() override { return nullptr; }
};
int NoEasy::alive = 0;

TEST(ConcreateCurlFactory, HandleThatLibcurlDoesNotGiveIsAnExceptionAndNoLeak) {
    ConcreateCurlFactory<NoEasy, NoMulti> factory;
    EXPECT_THROW(factory.CreateCurlEasy(), std::exception);
    EXPECT_EQ(NoEasy::alive, 0);
    EXPECT_THROW(factory.CreateCurlMulti(), std::exception);
}

TEST(ConcreateCurlFactory, ThreadsMayMakeTheirFirstHandlesTogether) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            Factory factory;
            factory.ReleaseCurlEasy(factory.CreateCurlEasy());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
