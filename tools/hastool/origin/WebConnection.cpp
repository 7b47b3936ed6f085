#include "WebConnection.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace hastool {
namespace {

namespace http = boost::beast::http;

using Parser = http::request_parser<http::string_body>;

constexpr time_t kIdleSeconds = 120;
constexpr uint32_t kMaxHeader = 1U << 20; // the download engine may send many long cookies
constexpr uint64_t kMaxBody = 1U << 20;
constexpr size_t kReceived = 8192;
constexpr auto kArrivalInterval = std::chrono::milliseconds(1);
constexpr int kArrivalIntervals = 1000;
constexpr std::string_view kBadRequest =
    "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

/// Gives the bytes that have come to the parser. @return false when they are no request
bool parse(Parser& parser, std::string& input) {
    boost::beast::error_code error;
    const size_t used = parser.put(boost::asio::buffer(input), error);
    input.erase(0, used);
    return !error || error == http::error::need_more;
}

WebRequest requestOf(Parser& parser) {
    const auto& message = parser.get();
    WebRequest request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    request.path = request.target.substr(0, request.target.find('?'));
    for (const auto& field : message)
        request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    request.body = message.body();
    request.keepsConnection = message.keep_alive();
    return request;
}

} // namespace

WebConnection::WebConnection(Descriptor socket, std::string peer, int number)
    : m_socket(std::move(socket))
    , m_peer(std::move(peer))
    , m_number(number) {
    const int yes = 1;
    setsockopt(fd(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    const timeval idle{kIdleSeconds, 0};
    setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof idle);
}

WebConnection::~WebConnection() {
    if (!m_isReset)
        shutdown(fd(), SHUT_WR);
}

std::optional<WebRequest> WebConnection::read() {
    Parser parser;
    parser.eager(true); // the body too
    parser.header_limit(kMaxHeader);
    parser.body_limit(kMaxBody);
    while (!m_input.empty() || receive()) {
        const size_t before = m_input.size();
        if (!parse(parser, m_input)) {
            send(kBadRequest);
            return std::nullopt;
        }
        if (parser.is_done())
            return requestOf(parser);
        // The parser took nothing: the bytes are the begin of a line, and the rest has to come.
        if (m_input.size() == before && !receive())
            return std::nullopt;
    }
    return std::nullopt;
}

bool WebConnection::receive() {
    char bytes[kReceived];
    ssize_t count = 0;
    do
        count = recv(fd(), bytes, sizeof bytes, 0);
    while (count < 0 && errno == EINTR);
    if (count <= 0)
        return false;
    m_input.append(bytes, static_cast<size_t>(count));
    return true;
}

bool WebConnection::send(std::string_view bytes, bool more) {
    while (!bytes.empty()) {
        const ssize_t sent =
            ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | (more ? MSG_MORE : 0));
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

void WebConnection::reset() {
    waitUntilArrived();
    const linger atOnce{1, 0};
    setsockopt(fd(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_isReset = true;
}

void WebConnection::abort() const {
    shutdown(fd(), SHUT_RDWR);
}

/// A reset would discard the bytes that have not arrived.
void WebConnection::waitUntilArrived() const {
    int unsent = 0;
    for (int i = 0; i < kArrivalIntervals; ++i) {
        if (ioctl(fd(), SIOCOUTQ, &unsent) != 0 || unsent == 0)
            return;
        std::this_thread::sleep_for(kArrivalInterval);
    }
}

} // namespace hastool
