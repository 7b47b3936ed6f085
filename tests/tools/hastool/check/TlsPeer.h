// A TLS server on the loopback with certificates of the test's own making.
#pragma once

#include <hastool/base/Descriptor.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <openssl/ssl.h>

namespace test {

/// A certificate with its key.
class TestCertificate {
public:
    struct Options {
        std::string name;           ///< of its subject
        std::string subjectAltName; ///< "DNS:localhost,IP:127.0.0.1"; empty for none
        bool isAuthority = false;
        int fromDay = -1; ///< counts from today
        int toDay = 365;
    };

    /// @param issuer  null for one that signs itself
    TestCertificate(const Options& options, const TestCertificate* issuer);

    X509* certificate() const { return m_certificate.get(); }
    EVP_PKEY* key() const { return m_key.get(); }
    /// Writes it as PEM.
    void write(const std::string& path) const;

private:
    struct Free {
        void operator()(X509* it) const { X509_free(it); }
        void operator()(EVP_PKEY* it) const { EVP_PKEY_free(it); }
    };

    std::unique_ptr<EVP_PKEY, Free> m_key;
    std::unique_ptr<X509, Free> m_certificate;
};

/// Shakes hands with whoever connects, until its end.
class TlsPeer {
public:
    /// @param chain  sent behind the certificate
    explicit TlsPeer(const TestCertificate& certificate,
                     const std::vector<const TestCertificate*>& chain = {});
    ~TlsPeer();
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    int port() const { return m_port; }

private:
    struct Free {
        void operator()(SSL_CTX* it) const { SSL_CTX_free(it); }
    };
    void serve();

    std::unique_ptr<SSL_CTX, Free> m_context;
    hastool::Descriptor m_listener;
    hastool::Gate m_stopped;
    int m_port = 0;
    std::thread m_thread;
};

} // namespace test
