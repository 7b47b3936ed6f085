#include "TlsPeer.h"

#include <csignal>
#include <cstdio>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

namespace test {
namespace {

constexpr long kDay = 86400;

void require(bool isGood, const char* what) {
    if (!isGood)
        throw std::runtime_error(what);
}

void addExtension(X509* certificate, X509* issuer, int name, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, name, value.c_str());
    require(extension != nullptr, value.c_str());
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

} // namespace

TestCertificate::TestCertificate(const Options& options, const TestCertificate* issuer)
    : m_key(EVP_EC_gen("P-256"))
    , m_certificate(X509_new()) {
    X509* const it = m_certificate.get();
    require(it != nullptr && m_key != nullptr, "no key");
    static long serial = 1;
    X509_set_version(it, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(it), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(it), options.fromDay * kDay);
    X509_gmtime_adj(X509_getm_notAfter(it), options.toDay * kDay);
    X509_set_pubkey(it, m_key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(it), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(options.name.c_str()), -1, -1,
                               0);
    X509* const signer = issuer != nullptr ? issuer->certificate() : it;
    X509_set_issuer_name(it, X509_get_subject_name(signer));
    addExtension(it, signer, NID_basic_constraints,
                 options.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
    if (!options.subjectAltName.empty())
        addExtension(it, signer, NID_subject_alt_name, options.subjectAltName);
    EVP_PKEY* const key = issuer != nullptr ? issuer->key() : m_key.get();
    require(X509_sign(it, key, EVP_sha256()) > 0, "not signed");
}

void TestCertificate::write(const std::string& path) const {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    require(file != nullptr && PEM_write_X509(file, certificate()) == 1, path.c_str());
    std::fclose(file);
}

TlsPeer::TlsPeer(const TestCertificate& certificate,
                 const std::vector<const TestCertificate*>& chain)
    : m_context(SSL_CTX_new(TLS_server_method()))
    , m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    require(SSL_CTX_use_certificate(m_context.get(), certificate.certificate()) == 1 &&
                SSL_CTX_use_PrivateKey(m_context.get(), certificate.key()) == 1,
            "no server certificate");
    for (const TestCertificate* const it : chain)
        require(SSL_CTX_add1_chain_cert(m_context.get(), it->certificate()) == 1, "no chain");
    SSL_CTX_set_mode(m_context.get(), SSL_MODE_NO_AUTO_CHAIN);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(m_listener.get(), generic, size) == 0 && listen(m_listener.get(), 8) == 0 &&
                getsockname(m_listener.get(), generic, &size) == 0,
            "no port");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

TlsPeer::~TlsPeer() {
    m_stopped.open();
    m_thread.join();
}

void TlsPeer::serve() {
    sigset_t broken; // the probe may have gone before all is sent
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken, nullptr);
    for (;;) {
        pollfd entries[] = {{m_listener.get(), POLLIN, 0}, {m_stopped.fd(), POLLIN, 0}};
        if (poll(entries, 2, -1) < 0 || entries[1].revents != 0)
            return;
        const hastool::Descriptor connection(accept(m_listener.get(), nullptr, nullptr));
        SSL* const ssl = SSL_new(m_context.get());
        SSL_set_fd(ssl, connection.get());
        SSL_accept(ssl); // whatever comes of it
        SSL_free(ssl);
    }
}

} // namespace test
