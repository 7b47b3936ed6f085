#include <hastool/base/ToolError.h>
#include <hastool/origin/WebServer.h>

#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>

using hastool::Descriptor;
using hastool::WebConnection;
using hastool::WebRequest;
using hastool::WebServer;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::StartsWith;

namespace {

/// A client that sends any bytes.
class Client {
public:
    explicit Client(uint16_t port)
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        EXPECT_EQ(connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address),
                  0);
    }
    void send(const std::string& bytes) const {
        EXPECT_EQ(::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    void endSending() const { shutdown(m_socket.get(), SHUT_WR); }
    /// Everything until the server closes; "(reset)" at the end where it breaks the connection.
    std::string receiveAll() const {
        std::string all;
        char bytes[4096];
        for (;;) {
            const ssize_t count = recv(m_socket.get(), bytes, sizeof bytes, 0);
            if (count <= 0)
                return count == 0 ? all : all + "(reset)";
            all.append(bytes, static_cast<size_t>(count));
        }
    }

private:
    Descriptor m_socket;
};

/// Keeps all requests, and answers each with ".".
class WebServerTest : public ::testing::Test {
protected:
    std::vector<WebRequest> requests() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_requests;
    }
    /// Sends bytes, and then nothing more. @return all that the server sends
    std::string answerTo(const std::string& bytes) const {
        const Client client(m_server.port());
        client.send(bytes);
        client.endSending();
        return client.receiveAll();
    }

    std::mutex m_mutex; // guards the requests
    std::vector<WebRequest> m_requests;
    WebServer m_server{{}, [this](WebConnection& connection) {
                           while (auto request = connection.read()) {
                               const std::lock_guard<std::mutex> lock(m_mutex);
                               m_requests.push_back(*request);
                               connection.send(".");
                           }
                       }};
};

} // namespace

TEST_F(WebServerTest, ReadsARequestWithItsHeadersInTheirOrder) {
    EXPECT_EQ(
        answerTo("GET /a/b?c=%20 HTTP/1.1\r\nHost: h\r\nX-One: 1\r\nRange: bytes=0-1\r\n\r\n"),
        ".");
    ASSERT_EQ(requests().size(), 1U);
    const WebRequest request = requests()[0];
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/a/b?c=%20");
    EXPECT_EQ(request.path, "/a/b");
    EXPECT_THAT(request.headers,
                ElementsAre(Pair("Host", "h"), Pair("X-One", "1"), Pair("Range", "bytes=0-1")));
    EXPECT_EQ(request.header("range"), "bytes=0-1");
    EXPECT_EQ(request.header("none"), "");
    EXPECT_TRUE(request.keepsConnection);
}

TEST_F(WebServerTest, ReadsBodies) {
    answerTo("POST /p HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\nfirst"
             "POST /p HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
             "3\r\nsec\r\n3\r\nond\r\n0\r\n\r\n");
    ASSERT_EQ(requests().size(), 2U);
    EXPECT_EQ(requests()[0].body, "first");
    EXPECT_EQ(requests()[1].body, "second");
}

TEST_F(WebServerTest, ReadsRequestsThatComeTogether) {
    const std::string one = "GET /1 HTTP/1.1\r\nHost: h\r\n\r\n";
    const std::string two = "GET /2 HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n";
    EXPECT_EQ(answerTo(one + two), "..");
    ASSERT_EQ(requests().size(), 2U);
    EXPECT_EQ(requests()[1].path, "/2");
    EXPECT_FALSE(requests()[1].keepsConnection);
}

TEST_F(WebServerTest, ReadsARequestThatComesByteByByte) {
    const Client client(m_server.port());
    for (const char byte : std::string("GET /slow HTTP/1.1\r\nHost: h\r\n\r\n"))
        client.send(std::string(1, byte));
    client.endSending();
    EXPECT_EQ(client.receiveAll(), ".");
    ASSERT_EQ(requests().size(), 1U);
    EXPECT_EQ(requests()[0].path, "/slow");
}

TEST_F(WebServerTest, AnswersWhatIsNoRequestWithStatus400) {
    for (const std::string& bytes :
         {std::string("\0\1\2\r\n\r\n", 7), std::string("GET / HTTP/9.9\r\n\r\n"),
          std::string("GET / HTTP/1.1\r\nno colon\r\n\r\n"),
          "GET / HTTP/1.1\r\nX: " + std::string(2U << 20, 'x') + "\r\n\r\n",
          std::string("POST / HTTP/1.1\r\nContent-Length: 99999999\r\n\r\n")})
        EXPECT_THAT(answerTo(bytes), StartsWith("HTTP/1.1 400 ")) << bytes.substr(0, 40);
    EXPECT_TRUE(requests().empty());
}

TEST_F(WebServerTest, ARequestThatNeverEndsIsNone) {
    EXPECT_EQ(answerTo("GET / HTTP/1.1\r\nHost: h\r\n"), "");
    EXPECT_TRUE(requests().empty());
}

TEST_F(WebServerTest, StopEndsAConnectionThatSaysNothing) {
    const Client client(m_server.port());
    client.send("GET / HTTP/1.1\r\n");
    while (m_server.open() == 0)
        std::this_thread::yield();
    m_server.stop();
    EXPECT_EQ(m_server.open(), 0);
    EXPECT_EQ(m_server.accepted(), 1);
    m_server.stop();
}

TEST(WebConnection, AResetBreaksItBehindWhatHasArrived) {
    WebServer server({}, [](WebConnection& connection) {
        connection.read();
        connection.send("half");
        connection.reset();
    });
    const Client client(server.port());
    client.send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(client.receiveAll(), ::testing::AnyOf("half(reset)", "(reset)"));
}

TEST(WebServer, SaysWhichPortIsTaken) {
    const WebServer first({}, [](WebConnection&) {});
    WebServer::Options same;
    same.port = first.port();
    EXPECT_THROW(WebServer(same, [](WebConnection&) {}), hastool::ToolError);
}
