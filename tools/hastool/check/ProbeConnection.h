// A TCP connection for a short talk.
#pragma once

#include <hastool/base/Descriptor.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace hastool {

/// Everything ends at the deadline, and when the user interrupts.
class ProbeConnection {
public:
    using Clock = std::chrono::steady_clock;

    /// @throws ToolError when there is no connection by then
    ProbeConnection(const std::string& host, int port, Clock::time_point deadline);

    /// @throws ToolError when it is broken
    void send(std::string_view bytes);
    /// At least a byte; nothing where the peer has ended it. @throws ToolError when it is broken
    std::string receive();

private:
    void connect(const std::string& host, int port);
    void await(int descriptor, short events) const;

    Clock::time_point m_deadline;
    std::string m_name;
    Descriptor m_socket;
};

} // namespace hastool
