#include "CertificateProbe.h"

#include "ProbeConnection.h"
#include <hastool/base/ToolError.h>

#include <array>
#include <memory>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace hastool {
namespace {

struct Free {
    void operator()(SSL_CTX* it) const { SSL_CTX_free(it); }
    void operator()(SSL* it) const { SSL_free(it); }
    void operator()(X509* it) const { X509_free(it); }
};

constexpr int kSecondsOfDay = 86400;

double daysUntil(const ASN1_TIME* time) {
    int days = 0;
    int seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, nullptr, time) == 0)
        return 0;
    return days + static_cast<double>(seconds) / kSecondsOfDay;
}

/// Takes one thing that is wrong with a chain. @param depth  0 for the server's own certificate
void take(int error, int depth, ServerCertificate& result) {
    switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        result.isExpired = true;
        break;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        result.isNotYetValid = true;
        break;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        result.isSelfSigned = true;
        break;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        // Behind an intermediate that was sent there may be just a root, which need not be sent.
        if (depth == 0)
            result.lacksIntermediate = true;
        break;
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE: // comes with the two above
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        break;
    default:
        result.isBad = true;
        break;
    }
    if (result.verifyResult.empty())
        result.verifyResult = X509_verify_cert_error_string(error);
}

/// Lets everything pass, to see all of it.
int onVerify(int isGood, X509_STORE_CTX* context) {
    const auto* const ssl = static_cast<SSL*>(
        X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* const result = static_cast<ServerCertificate*>(SSL_get_app_data(ssl));
    if (isGood == 0 && result != nullptr)
        take(X509_STORE_CTX_get_error(context), X509_STORE_CTX_get_error_depth(context), *result);
    return 1;
}

bool names(X509* certificate, const std::string& host) {
    return X509_check_ip_asc(certificate, host.c_str(), 0) == 1 ||
           X509_check_host(certificate, host.data(), host.size(), 0, nullptr) == 1;
}

bool isAddress(const std::string& host) {
    ASN1_OCTET_STRING* const address = a2i_IPADDRESS(host.c_str());
    ASN1_OCTET_STRING_free(address);
    return address != nullptr;
}

class Probe {
public:
    Probe(const std::string& caFile, ServerCertificate& result);

    /// @throws ToolError when no certificate comes
    void run(ProbeConnection& connection);

private:
    void shakeHands(ProbeConnection& connection);
    void sendPending(ProbeConnection& connection);
    [[noreturn]] void fail(const std::string& what) const;

    ServerCertificate& m_result;
    std::unique_ptr<SSL_CTX, Free> m_context;
    std::unique_ptr<SSL, Free> m_ssl;
    BIO* m_in = nullptr; ///< what comes from the server; belongs to m_ssl, as the other
    BIO* m_out = nullptr;
};

Probe::Probe(const std::string& caFile, ServerCertificate& result)
    : m_result(result)
    , m_context(SSL_CTX_new(TLS_client_method())) {
    if (!m_context)
        fail("no TLS here");
    const bool isLoaded = caFile.empty()
                              ? SSL_CTX_set_default_verify_paths(m_context.get()) == 1
                              : SSL_CTX_load_verify_file(m_context.get(), caFile.c_str()) == 1;
    if (!isLoaded)
        fail("the trusted certificates cannot be read");
    SSL_CTX_set_verify(m_context.get(), SSL_VERIFY_PEER, onVerify);
    m_ssl.reset(SSL_new(m_context.get()));
    m_in = BIO_new(BIO_s_mem());
    m_out = BIO_new(BIO_s_mem());
    if (!m_ssl || m_in == nullptr || m_out == nullptr) {
        BIO_free(m_in);
        BIO_free(m_out);
        fail("no TLS here");
    }
    SSL_set_bio(m_ssl.get(), m_in, m_out);
    SSL_set_app_data(m_ssl.get(), &m_result);
    SSL_set_connect_state(m_ssl.get());
    if (!isAddress(m_result.host))
        SSL_set_tlsext_host_name(m_ssl.get(), m_result.host.c_str());
}

void Probe::fail(const std::string& what) const {
    throw ToolError(m_result.host + ":" + std::to_string(m_result.port), what);
}

void Probe::run(ProbeConnection& connection) {
    ERR_clear_error();
    shakeHands(connection);
    const std::unique_ptr<X509, Free> certificate(SSL_get1_peer_certificate(m_ssl.get()));
    if (!certificate)
        fail("no certificate came");
    m_result.daysLeft = daysUntil(X509_get0_notAfter(certificate.get()));
    m_result.namesHost = names(certificate.get(), m_result.host);
}

/// Ends also where the server refuses to go on behind its certificate.
void Probe::shakeHands(ProbeConnection& connection) {
    constexpr size_t kMost = 1 << 20; // bytes of a handshake
    size_t received = 0;
    for (;;) {
        const int done = SSL_do_handshake(m_ssl.get());
        const int reason = SSL_get_error(m_ssl.get(), done);
        sendPending(connection);
        if (done == 1 || reason != SSL_ERROR_WANT_READ)
            return;
        const std::string bytes = connection.receive();
        received += bytes.size();
        if (bytes.empty() || received > kMost)
            return;
        BIO_write(m_in, bytes.data(), static_cast<int>(bytes.size()));
    }
}

void Probe::sendPending(ProbeConnection& connection) {
    std::array<char, 4096> buffer{};
    int size = 0;
    while ((size = BIO_read(m_out, buffer.data(), static_cast<int>(buffer.size()))) > 0)
        connection.send({buffer.data(), static_cast<size_t>(size)});
}

} // namespace

ServerCertificate probeCertificate(const ProbedServer& server, const std::string& caFile,
                                   std::chrono::milliseconds longest) {
    ServerCertificate result;
    result.host = server.host;
    result.port = server.port;
    try {
        Probe probe(caFile, result);
        ProbeConnection connection(server.host, server.port,
                                   ProbeConnection::Clock::now() + longest);
        probe.run(connection);
    } catch (const ToolError& error) {
        result.failure = error.what();
    }
    return result;
}

} // namespace hastool
