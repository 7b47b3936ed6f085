// One connection of a web server.
#pragma once

#include "WebRequest.h"
#include <hastool/base/Descriptor.h>

#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// Reads requests (HTTP/1.1, RFC 9112) and sends bytes. Its user makes the answers, and decides
/// when their bytes go and how they end. Used by one thread, but for abort().
class WebConnection {
public:
    /// @param number  of the connection among those of its server, from 1
    WebConnection(Descriptor socket, std::string peer, int number);
    /// Closes the connection so that everything sent arrives, unless reset() was called.
    ~WebConnection();
    WebConnection(const WebConnection&) = delete;
    WebConnection& operator=(const WebConnection&) = delete;

    /// Waits for a request.
    /// @return nothing when the client has closed the connection or is silent for two minutes, and
    ///         for bytes that are no request, after answering them with status 400
    std::optional<WebRequest> read();
    /// Sends bytes; waits while the connection takes no more. @return false when it is gone
    /// @param more  whether other bytes follow at once, which may then share a packet with these
    bool send(std::string_view bytes, bool more = false);
    /// Waits until the bytes sent so far have arrived, for a second at most; the destructor then
    /// breaks the connection off (TCP reset). Nothing else may be called afterwards.
    void reset();
    /// Ends read() and send() if they wait for the client. Any thread.
    void abort() const;

    int fd() const { return m_socket.get(); }
    /// "127.0.0.1:41234".
    const std::string& peer() const { return m_peer; }
    int number() const { return m_number; }

private:
    bool receive();
    void waitUntilArrived() const;

    Descriptor m_socket;
    const std::string m_peer;
    const int m_number;
    std::string m_input; ///< received bytes that no request has taken yet
    bool m_isReset = false;
};

} // namespace hastool
