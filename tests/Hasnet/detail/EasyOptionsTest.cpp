#include <Hasnet/CurlEasy.h>
#include <Hasnet/detail/ByteCount.h>
#include <Hasnet/detail/EasyOptions.h>
#include <Hasnet/detail/HeaderLine.h>
#include <Hasnet/detail/TransferLimits.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace hascommon::detail;
using ::testing::ElementsAreArray;

/// Remembers the options it is given, in order.
class RecordingEasy : public hascommon::ICurlEasy {
public:
    bool Perform() override { return true; }
    void Reset() override {
        order.clear();
        values.clear();
        ++resets;
    }
    bool Pause() override { return true; }
    bool Resume() override { return true; }
    bool GetInfoWithLong(CURLINFO, long*) override { return true; }
    bool GetInfoWithDouble(CURLINFO, double*) override { return true; }
    bool SetOpt(CURLoption option, const void* value) override {
        order.push_back(option);
        values[option] = value;
        return true;
    }
    bool GetInfo(CURLINFO, const void*) override { return true; }
    int GetLastError() const override { return 0; }
    CURL* GetHandle() override { return nullptr; }

    long number(CURLoption option) const {
        return static_cast<long>(reinterpret_cast<std::intptr_t>(values.at(option)));
    }
    std::string text(CURLoption option) const {
        return static_cast<const char*>(values.at(option));
    }
    bool has(CURLoption option) const { return values.count(option) > 0; }

    std::vector<CURLoption> order;
    std::map<CURLoption, const void*> values;
    int resets = 0;
};

size_t take(char*, size_t, size_t, void*) {
    return 0;
}

int progress(void*, double, double, double, double) {
    return 0;
}

class EasyOptionsTest : public ::testing::Test {
protected:
    EasyOptionsTest() {
        m_request.options = &m_options;
        m_request.info.url = "http://host/a";
        m_request.errorBuffer = m_errors;
        m_request.unit = this;
        m_sockets.highSockets = &m_highSockets;
        m_request.sockets = &m_sockets;
    }

    void set() { setOptions(m_easy, m_request, {take, take, progress}); }

    RequestOptions m_options;
    EasyRequest m_request;
    char m_errors[256] = {};
    std::atomic<bool> m_highSockets{false};
    SocketWatch m_sockets;
    RecordingEasy m_easy;
};

TEST_F(EasyOptionsTest, PlainRequestSetsTheFixedOptionsInOrder) {
    set();
    EXPECT_EQ(m_easy.resets, 1);
    const std::vector<CURLoption> expected{
        CURLOPT_URL,
        CURLOPT_FAILONERROR,
        CURLOPT_WRITEFUNCTION,
        CURLOPT_WRITEDATA,
        CURLOPT_HEADERFUNCTION,
        CURLOPT_HEADERDATA,
        CURLOPT_FOLLOWLOCATION,
        CURLOPT_HEADER,
        CURLOPT_NOBODY,
        CURLOPT_ERRORBUFFER,
        CURLOPT_PRIVATE,
        CURLOPT_NOSIGNAL,
        CURLOPT_NOPROGRESS,
        CURLOPT_PROGRESSFUNCTION,
        CURLOPT_PROGRESSDATA,
        CURLOPT_ACCEPT_ENCODING,
        CURLOPT_FILETIME,
        CURLOPT_USERAGENT,
        CURLOPT_SSL_VERIFYPEER,
    };
    ASSERT_GE(m_easy.order.size(), expected.size());
    EXPECT_THAT(std::vector<CURLoption>(m_easy.order.begin(),
                                        m_easy.order.begin() +
                                            static_cast<std::ptrdiff_t>(expected.size())),
                ElementsAreArray(expected));
}

TEST_F(EasyOptionsTest, FixedValues) {
    set();
    for (const CURLoption one :
         {CURLOPT_FAILONERROR, CURLOPT_FOLLOWLOCATION, CURLOPT_NOSIGNAL, CURLOPT_FILETIME})
        EXPECT_EQ(m_easy.number(one), 1) << one;
    for (const CURLoption zero :
         {CURLOPT_HEADER, CURLOPT_NOBODY, CURLOPT_NOPROGRESS, CURLOPT_SSL_VERIFYPEER})
        EXPECT_EQ(m_easy.number(zero), 0) << zero;
    for (const CURLoption unit :
         {CURLOPT_WRITEDATA, CURLOPT_HEADERDATA, CURLOPT_PRIVATE, CURLOPT_PROGRESSDATA})
        EXPECT_EQ(m_easy.values.at(unit), this) << unit;
    EXPECT_EQ(m_easy.values.at(CURLOPT_ERRORBUFFER), m_errors);
    EXPECT_EQ(m_easy.text(CURLOPT_ACCEPT_ENCODING), "");
    EXPECT_EQ(m_easy.text(CURLOPT_URL), "http://host/a");
    EXPECT_EQ(m_easy.text(CURLOPT_USERAGENT), "quenlishas-agent/1.1");
    EXPECT_EQ(m_easy.values.at(CURLOPT_WRITEFUNCTION), reinterpret_cast<const void*>(take));
    EXPECT_EQ(m_easy.values.at(CURLOPT_HEADERFUNCTION), reinterpret_cast<const void*>(take));
    EXPECT_EQ(m_easy.values.at(CURLOPT_PROGRESSFUNCTION), reinterpret_cast<const void*>(progress));
}

TEST_F(EasyOptionsTest, NoTimeLimitIsSet) {
    m_options.agent = "x";
    set();
    for (const CURLoption limit :
         {CURLOPT_TIMEOUT, CURLOPT_CONNECTTIMEOUT, CURLOPT_LOW_SPEED_LIMIT, CURLOPT_LOW_SPEED_TIME})
        EXPECT_FALSE(m_easy.has(limit)) << limit;
}

TEST_F(EasyOptionsTest, ProxyRangeCookieAndHeaderListComeBeforeTheFixedOptions) {
    m_options.proxy = "http://proxy:1";
    m_options.headerList = withLine(nullptr, "Cookie:a=1");
    m_request.info.range = "5-9";
    m_request.cookie = "c=d;";
    set();
    ASSERT_GE(m_easy.order.size(), 5U);
    EXPECT_THAT(std::vector<CURLoption>(m_easy.order.begin(), m_easy.order.begin() + 5),
                ElementsAreArray({CURLOPT_PROXY, CURLOPT_URL, CURLOPT_RANGE, CURLOPT_COOKIE,
                                  CURLOPT_HTTPHEADER}));
    EXPECT_EQ(m_easy.text(CURLOPT_PROXY), "http://proxy:1");
    EXPECT_EQ(m_easy.text(CURLOPT_RANGE), "5-9");
    EXPECT_EQ(m_easy.text(CURLOPT_COOKIE), "c=d;");
    EXPECT_EQ(m_easy.values.at(CURLOPT_HTTPHEADER), m_options.headerList.get());
}

TEST_F(EasyOptionsTest, ConditionNeedsBothKeepInfoAndAFileTime) {
    m_request.info.fileTime = 1000;
    set();
    EXPECT_FALSE(m_easy.has(CURLOPT_TIMECONDITION));
    m_request.info.keepInfo = true;
    m_request.info.fileTime = 0;
    set();
    EXPECT_FALSE(m_easy.has(CURLOPT_TIMECONDITION));
    m_request.info.fileTime = 1000;
    set();
    EXPECT_EQ(m_easy.number(CURLOPT_TIMECONDITION), 1);
    EXPECT_EQ(m_easy.number(CURLOPT_TIMEVALUE), 1000);
}

TEST_F(EasyOptionsTest, AgentIsTheOwnersUnlessTheEngineIsHbbtv) {
    m_options.agent = "own/1";
    set();
    EXPECT_EQ(m_easy.text(CURLOPT_USERAGENT), "own/1");
    m_request.engineInfo = 5;
    set();
    EXPECT_EQ(m_easy.text(CURLOPT_USERAGENT), "Hbbtv/1.2.1");
    m_request.engineInfo = 4;
    set();
    EXPECT_EQ(m_easy.text(CURLOPT_USERAGENT), "own/1");
}

TEST_F(EasyOptionsTest, VerificationIsAnOptIn) {
    m_options.verifyPeer = true;
    m_options.caFile = "/ca.pem";
    set();
    EXPECT_EQ(m_easy.number(CURLOPT_SSL_VERIFYPEER), 1);
    EXPECT_EQ(m_easy.text(CURLOPT_CAINFO), "/ca.pem");
}

TEST_F(EasyOptionsTest, OnlyHttpIsSpokenAndRedirectsAreCounted) {
    set();
    EXPECT_EQ(m_easy.text(CURLOPT_PROTOCOLS_STR), "http,https");
    EXPECT_EQ(m_easy.text(CURLOPT_REDIR_PROTOCOLS_STR), "http,https");
    EXPECT_EQ(m_easy.number(CURLOPT_MAXREDIRS), 30);
}

TEST_F(EasyOptionsTest, PausedTransferHasNoLimits) {
    setPausedLimits(m_easy);
    EXPECT_EQ(m_easy.number(CURLOPT_LOW_SPEED_LIMIT), 0);
    EXPECT_EQ(m_easy.number(CURLOPT_LOW_SPEED_TIME), 0);
    EXPECT_EQ(m_easy.number(CURLOPT_TIMEOUT), 99999);
    EXPECT_EQ(m_easy.number(CURLOPT_CONNECTTIMEOUT), 99999);
}

TEST_F(EasyOptionsTest, AfterTenSecondsOfPauseTheLimitsAre130And35Seconds) {
    setResumedLimits(m_easy, 10999);
    EXPECT_EQ(m_easy.number(CURLOPT_LOW_SPEED_LIMIT), 2048);
    EXPECT_EQ(m_easy.number(CURLOPT_LOW_SPEED_TIME), 28);
    EXPECT_EQ(m_easy.number(CURLOPT_TIMEOUT), 130);
    EXPECT_EQ(m_easy.number(CURLOPT_CONNECTTIMEOUT), 35);
}

TEST_F(EasyOptionsTest, PauseOfAnyLengthGivesALimitThatLibcurlTakes) {
    setResumedLimits(m_easy, INT64_MAX);
    hascommon::CurlEasy easy;
    EXPECT_TRUE(easy.SetOpt(CURLOPT_TIMEOUT, asOption(m_easy.number(CURLOPT_TIMEOUT))));
}

TEST(AbsoluteLocation, RelativeIsResolvedAndAbsoluteStaysAsSent) {
    EXPECT_EQ(absoluteLocation("http://h/a/b?q", "c"), "http://h/a/c");
    EXPECT_EQ(absoluteLocation("http://h/a/b", "/c"), "http://h/c");
    EXPECT_EQ(absoluteLocation("https://h/a", "//other/c"), "https://other/c");
    EXPECT_EQ(absoluteLocation("http://h/a", "HTTP://Other:80/c"), "HTTP://Other:80/c");
    EXPECT_EQ(absoluteLocation("", "c"), "");
}

TEST(ToBytes, WhatIsNoCountIsZero) {
    EXPECT_EQ(toBytes(-1), 0U);
    EXPECT_EQ(toBytes(0), 0U);
    EXPECT_EQ(toBytes(5e9), 5000000000U);
    EXPECT_EQ(toBytes(1e300), 9000000000000000000U);
    EXPECT_EQ(toBytes(std::numeric_limits<double>::quiet_NaN()), 0U);
}

TEST(DeliverableBytes, OnlyWhatLiesBehindTheSkippedBytes) {
    EXPECT_EQ(deliverableBytes(100, 100, 0), 100U);
    EXPECT_EQ(deliverableBytes(100, 100, 250), 0U);
    EXPECT_EQ(deliverableBytes(100, 250, 250), 0U);
    EXPECT_EQ(deliverableBytes(100, 300, 250), 50U);
    EXPECT_EQ(deliverableBytes(100, 400, 250), 100U);
}

} // namespace
