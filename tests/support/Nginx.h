// A real web server for a test.
#pragma once

#include <support/Child.h>
#include <support/TempDir.h>

#include <cstdint>
#include <memory>
#include <string>

namespace test {

/// nginx over a folder of its own, on free ports of 127.0.0.1: HTTP/1.1 on one, TLS with HTTP/2 on
/// the other, ranges, conditional requests, gzip of text. Throws std::runtime_error with its error
/// log when it does not start. Works as any user.
class Nginx {
public:
    Nginx();
    ~Nginx();
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    /// The folder that it serves.
    std::string root() const { return m_dir.file("root"); }
    /// Writes a file into that folder.
    void write(const std::string& name, std::string_view content) const {
        m_dir.write("root/" + name, content);
    }

    /// "/-/cookie" sets the secure cookie "kept=1" and answers with the request's Cookie header.
    std::string url(const std::string& path) const;
    /// Over TLS. The certificate is for localhost and 127.0.0.1 and signed by itself.
    std::string tlsUrl(const std::string& path) const;
    /// The certificate, as a file to trust.
    std::string caFile() const { return m_dir.file("cert.pem"); }

    /// Limits every response to this rate in bytes per second from the next request on; 0 for no
    /// limit. A request with the query "rate=N" has a limit of its own.
    void limitRate(uint64_t bytesPerSecond);

    /// Lines of the access log so far: method, target, status, body bytes, protocol.
    std::string accessLog() const { return readFile(m_dir.file("access.log")); }

private:
    void makeCertificate() const;
    void writeConfig() const;
    bool start();
    bool isCurrent() const;
    void waitForGeneration() const;

    TempDir m_dir;
    uint16_t m_port = 0;
    uint16_t m_tlsPort = 0;
    uint64_t m_rate = 0;
    int m_generation = 0;
    std::unique_ptr<Child> m_child;
};

} // namespace test
