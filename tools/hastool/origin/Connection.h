// One connection of an origin.
#pragma once

#include "RateLimiter.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <string>

#include <httplib.h>

namespace hastool {

/// Reads requests and writes answers at the limiter's rate. Used by its own thread alone, but for
/// abort().
class Connection : public httplib::Stream {
public:
    /// @param socket   closed with the object
    /// @param limiter  borrowed
    Connection(int socket, RateLimiter& limiter);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The connection that the calling thread serves; null on other threads. Request handlers are
    /// told of none.
    static Connection*& current();

    /// The next bytes that are written begin an answer.
    void expectAnswer() { m_isAnswering = false; }
    /// Lets the end of the connection look like a broken one.
    void reset();
    /// Ends whatever waits for the other side. Any thread.
    void abort();

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    bool sendAll(const char* bytes, size_t size);

    const int m_socket;
    RateLimiter& m_limiter;
    bool m_isAnswering = false;
    std::array<char, 4096> m_buffer{}; ///< requests are read letter by letter
    size_t m_begin = 0;
    size_t m_end = 0;
};

} // namespace hastool
