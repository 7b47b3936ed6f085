#include <Hasnet/CurlEasy.h>
#include <Hasnet/CurlMulti.h>
#include <support/FaultOrigin.h>

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using hascommon::CurlEasy;
using hascommon::CurlMsg;
using hascommon::CurlMulti;

size_t discard(char*, size_t size, size_t count, void*) {
    return size * count;
}

class CurlMultiTest : public ::testing::Test {
protected:
    void prepare(const std::string& path) {
        m_easy.SetOpt(CURLOPT_URL, m_origin.url(path).c_str());
        m_easy.SetOpt(CURLOPT_WRITEFUNCTION, reinterpret_cast<const void*>(discard));
        m_easy.SetOpt(CURLOPT_PRIVATE, this);
    }

    void run() {
        int running = 1;
        while (running > 0) {
            m_multi.Perform(running);
            m_multi.Poll(-1, 100);
        }
    }

    test::FaultOrigin m_origin;
    CurlEasy m_easy;
    CurlMulti m_multi;
};

TEST_F(CurlMultiTest, AddAndRemoveSayWhatLibcurlSaid) {
    prepare("/a");
    EXPECT_TRUE(m_multi.AddHandle(m_easy));
    EXPECT_FALSE(m_multi.AddHandle(m_easy));
    EXPECT_EQ(m_multi.GetLastError(), CURLM_ADDED_ALREADY);
    EXPECT_TRUE(m_multi.RemoveHandle(m_easy));
    EXPECT_EQ(m_multi.GetLastError(), CURLM_OK);
}

TEST_F(CurlMultiTest, PerformIsFalseForSuccessAndTheErrorIsZero) {
    prepare("/a");
    ASSERT_TRUE(m_multi.AddHandle(m_easy));
    int running = 0;
    EXPECT_FALSE(m_multi.Perform(running));
    EXPECT_EQ(running, 1);
    EXPECT_EQ(m_multi.GetLastError(), CURLM_OK);
    EXPECT_TRUE(m_multi.RemoveHandle(m_easy));
}

TEST_F(CurlMultiTest, InfoReadOnAnEmptyQueueTouchesNothing) {
    CurlMsg msg{77, this, 88, m_easy.GetHandle()};
    int left = 5;
    EXPECT_EQ(m_multi.InfoRead(left, msg), 0);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(msg.msg, 77);
    EXPECT_EQ(msg.privateData, this);
    EXPECT_EQ(msg.result, 88);
    EXPECT_EQ(msg.easyHandle, m_easy.GetHandle());
}

TEST_F(CurlMultiTest, InfoReadTellsTheFinishedTransferAndItsPrivatePointer) {
    m_origin.on("/a", test::Reply().body("x"));
    prepare("/a");
    ASSERT_TRUE(m_multi.AddHandle(m_easy));
    run();
    CurlMsg msg{};
    int left = -1;
    EXPECT_EQ(m_multi.InfoRead(left, msg), CURLMSG_DONE);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(msg.msg, CURLMSG_DONE);
    EXPECT_EQ(msg.privateData, this);
    EXPECT_EQ(msg.result, CURLE_OK);
    EXPECT_EQ(msg.easyHandle, m_easy.GetHandle());
    m_multi.RemoveHandle(m_easy);
}

TEST_F(CurlMultiTest, InfoReadTellsTheResultOfAFailedTransfer) {
    m_origin.on("/a", test::Reply().body("xyz").closedAt(test::Stage::BeforeStatus));
    prepare("/a");
    ASSERT_TRUE(m_multi.AddHandle(m_easy));
    run();
    CurlMsg msg{};
    int left = 0;
    EXPECT_EQ(m_multi.InfoRead(left, msg), CURLMSG_DONE);
    EXPECT_EQ(msg.result, CURLE_GOT_NOTHING);
    m_multi.RemoveHandle(m_easy);
}

TEST_F(CurlMultiTest, SelectNeverChangesTheLastError) {
    prepare("/a");
    ASSERT_TRUE(m_multi.AddHandle(m_easy));
    EXPECT_FALSE(m_multi.AddHandle(m_easy));
    timeval none{0, 0};
    EXPECT_EQ(m_multi.Select(0, nullptr, nullptr, nullptr, &none), 0);
    EXPECT_EQ(m_multi.Select(-1, nullptr, nullptr, nullptr, &none), -1);
    EXPECT_EQ(m_multi.GetLastError(), CURLM_ADDED_ALREADY);
    m_multi.RemoveHandle(m_easy);
}

TEST_F(CurlMultiTest, FDSetTellsTheDescriptorsOfARunningTransfer) {
    m_origin.on("/a", test::Reply().stalledAt(test::Stage::BeforeStatus));
    prepare("/a");
    ASSERT_TRUE(m_multi.AddHandle(m_easy));
    fd_set read;
    fd_set write;
    fd_set except;
    int maxFd = -1;
    for (int i = 0; i < 100 && maxFd < 0; ++i) {
        int running = 0;
        m_multi.Perform(running);
        FD_ZERO(&read);
        FD_ZERO(&write);
        FD_ZERO(&except);
        EXPECT_TRUE(m_multi.FDSet(&read, &write, &except, &maxFd));
    }
    ASSERT_GE(maxFd, 0);
    EXPECT_TRUE(FD_ISSET(maxFd, &read) || FD_ISSET(maxFd, &write));
    m_multi.RemoveHandle(m_easy);
}

TEST_F(CurlMultiTest, PollWaitsForTheFurtherDescriptorAsWell) {
    const int event = eventfd(1, EFD_CLOEXEC);
    EXPECT_EQ(m_multi.Poll(event, 10000), 1);
    close(event);
    EXPECT_EQ(m_multi.Poll(-1, 0), 0);
}

} // namespace
