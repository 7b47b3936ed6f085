// One connection of a web server.
#pragma once

#include "WebRequest.h"
#include <hastool/base/Descriptor.h>

#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// Reads requests (HTTP/1.1, RFC 9112) and sends bytes. What an answer is made of, when its bytes
/// go and how it ends is its user's. Used by one thread, but for abort().
class WebConnection {
public:
    /// @param number  the how manieth connection of its server it is, from 1
    WebConnection(Descriptor socket, std::string peer, int number);
    /// Closes the connection, so that everything sent arrives; but see reset().
    ~WebConnection();
    WebConnection(const WebConnection&) = delete;
    WebConnection& operator=(const WebConnection&) = delete;

    /// Waits for a request.
    /// @return nothing when the client has closed the connection or is silent for two minutes, and
    ///         for bytes that are no request, which are answered with status 400
    std::optional<WebRequest> read();
    /// Sends bytes, or waits until they can be. @return false when the connection is gone
    /// @param more  others follow at once: they may share a packet
    bool send(std::string_view bytes, bool more = false);
    /// Lets the end of the connection look like a broken one, behind what has arrived by now. The
    /// last that is called.
    void reset();
    /// Ends whatever waits for the other side. Any thread.
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
    std::string m_input; ///< received, and not yet of a request
    bool m_isReset = false;
};

} // namespace hastool
