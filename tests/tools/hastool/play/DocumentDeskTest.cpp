#include <tools/hastool/ErrorOf.h>
#include <tools/hastool/VirtualPlay.h>

#include <hastool/play/DocumentDesk.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::DocumentDesk;
using hastool::DocumentWanted;
using hastool::Resource;
using hastool::TransferSlot;
using hastool::VirtualAnswer;
using hastool::VirtualLine;

namespace {

class DocumentDeskTest : public testing::Test {
protected:
    VirtualAnswer answer(const Resource& resource) {
        m_asked.push_back(resource.url);
        VirtualAnswer answer;
        if (resource.url.find("none") == std::string::npos)
            answer.bytes = "text of " + resource.url;
        else
            answer.failure = "HTTP 404";
        return answer;
    }
    /// Asks for a document, and has it fetched when it is not there yet.
    /// @return its text, or "wanted"
    std::string ask(const std::string& url, TransferSlot& reader) {
        try {
            return m_desk.document({url, {}}).text;
        } catch (const DocumentWanted& wanted) {
            EXPECT_EQ(wanted.resource.url, url);
            m_desk.fetch(wanted, reader);
            return "wanted";
        }
    }
    void waitForOne() { m_line.wait(m_play.clock.steady() + 1h); }

    test::VirtualPlay m_play; // used for its clock, and as the observer
    hascommon::BandwidthChecker m_checker;
    VirtualLine m_line{{{{0ms, 800000}}, 10ms},
                       [this](const Resource& it) { return answer(it); },
                       m_play.clock,
                       m_checker};
    hastool::Journal m_journal{m_play.options, m_play, m_play.clock};
    DocumentDesk m_desk;
    TransferSlot m_reader{m_line, m_journal};
    TransferSlot m_other{m_line, m_journal};
    std::vector<std::string> m_asked;
};

} // namespace

TEST_F(DocumentDeskTest, ADocumentIsKeptUntilTheCallIsOver) {
    EXPECT_EQ(ask("http://h/a", m_reader), "wanted");
    EXPECT_TRUE(m_desk.isUnderWay({"http://h/a", {}}));
    waitForOne();
    EXPECT_FALSE(m_desk.isUnderWay({"http://h/a", {}}));
    EXPECT_EQ(ask("http://h/a", m_reader), "text of http://h/a");
    EXPECT_EQ(ask("http://h/b", m_reader), "wanted");
    waitForOne();
    EXPECT_EQ(ask("http://h/a", m_reader), "text of http://h/a");
    EXPECT_EQ(ask("http://h/b", m_reader), "text of http://h/b");
    m_desk.release(m_reader);
    EXPECT_EQ(m_asked.size(), 2U);
    EXPECT_EQ(ask("http://h/a", m_reader), "wanted");
    EXPECT_EQ(m_journal.counts().downloads, 2U);
}

TEST_F(DocumentDeskTest, TwoReadersOfADocumentFetchItOnce) {
    EXPECT_EQ(ask("http://h/a", m_reader), "wanted");
    EXPECT_EQ(ask("http://h/a", m_other), "wanted");
    waitForOne();
    EXPECT_EQ(ask("http://h/a", m_other), "text of http://h/a");
    m_desk.release(m_other); // documents of the other reader stay
    EXPECT_EQ(ask("http://h/a", m_reader), "text of http://h/a");
    EXPECT_EQ(m_asked.size(), 1U);
}

TEST_F(DocumentDeskTest, AFailureIsKeptToo) {
    EXPECT_EQ(ask("http://h/none", m_reader), "wanted");
    waitForOne();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(test::errorOf([&] {
                      m_desk.document({"http://h/none", {}});
                  }),
                  "http://h/none: HTTP 404");
    EXPECT_EQ(m_asked.size(), 1U);
}

TEST_F(DocumentDeskTest, BytesHaveALimitOfTheirOwn) {
    std::string bytes;
    try {
        m_desk.bytes("http://h/key", 4, bytes);
        ADD_FAILURE() << "at hand";
    } catch (const DocumentWanted& wanted) {
        m_desk.fetch(wanted, m_reader);
    }
    waitForOne();
    EXPECT_FALSE(m_desk.bytes("http://h/key", 4, bytes).ok);
}
