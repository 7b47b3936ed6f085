// A real HTTP proxy for a test.
#pragma once

#include <support/Child.h>
#include <support/TempDir.h>

#include <cstdint>
#include <memory>
#include <string>

namespace test {

/// tinyproxy on a free port of 127.0.0.1. Throws std::runtime_error with its log when it does not
/// start. Works as any user.
class Proxy {
public:
    Proxy();
    ~Proxy();
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    /// "http://127.0.0.1:8888".
    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    /// What it logged: a line with "Request" and the URL for each request.
    std::string log() const { return readFile(m_dir.file("log")); }
    /// Requests so far.
    int requests() const;

private:
    bool start();

    TempDir m_dir;
    uint16_t m_port = 0;
    std::unique_ptr<Child> m_child;
};

} // namespace test
