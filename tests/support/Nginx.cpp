#include <support/Fetch.h>
#include <support/FreePort.h>
#include <support/Nginx.h>

#include <csignal>
#include <stdexcept>
#include <thread>

#include <unistd.h>

namespace test {
namespace {

constexpr int kStarts = 5; // a free port may be taken before nginx binds it

// @X@ is replaced. Everything lies in the prefix, so that any user can run it; as root the workers
// stay root, for the folder is closed to others.
constexpr char kConfig[] = R"(@USER@
daemon off;
worker_processes 1;
pid @DIR@/nginx.pid;
error_log @DIR@/error.log notice;
events { worker_connections 512; }
http {
    client_body_temp_path @DIR@/tmp-body;
    proxy_temp_path @DIR@/tmp-proxy;
    fastcgi_temp_path @DIR@/tmp-fastcgi;
    uwsgi_temp_path @DIR@/tmp-uwsgi;
    scgi_temp_path @DIR@/tmp-scgi;
    log_format brief "$request_method $request_uri $status $body_bytes_sent $server_protocol";
    access_log @DIR@/access.log brief;
    types { text/html html; text/plain txt; application/vnd.apple.mpegurl m3u8; video/mp2t ts;
            video/mp4 mp4 m4s; }
    default_type application/octet-stream;
    sendfile on;
    tcp_nopush on;
    gzip on;
    gzip_min_length 0;
    gzip_types text/plain;
    map $arg_rate $limit { "" @RATE@; default $arg_rate; }
    server {
        listen 127.0.0.1:@PORT@;
        listen 127.0.0.1:@TLSPORT@ ssl http2;
        ssl_certificate @DIR@/cert.pem;
        ssl_certificate_key @DIR@/key.pem;
        root @DIR@/root;
        limit_rate $limit;
        @CHUNK@
        location = /-/generation { return 200 "@GENERATION@"; access_log off; }
        location = /-/cookie {
            add_header Set-Cookie "kept=1; Secure; Path=/";
            return 200 "$http_cookie";
        }
    }
}
)";

void replace(std::string& text, const std::string& name, const std::string& value) {
    for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at))
        text.replace(at, name.size(), value);
}

} // namespace

Nginx::Nginx() {
    std::filesystem::create_directory(m_dir.path() / "root");
    m_dir.write("error.log", "");
    m_dir.write("access.log", "");
    makeCertificate();
    for (int i = 0; i < kStarts; ++i) {
        m_port = freePort();
        do
            m_tlsPort = freePort();
        while (m_tlsPort == m_port);
        writeConfig();
        if (start())
            return;
    }
    throw std::runtime_error("nginx does not start:\n" + readFile(m_dir.file("error.log")));
}

Nginx::~Nginx() = default;

std::string Nginx::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::string Nginx::tlsUrl(const std::string& path) const {
    return "https://localhost:" + std::to_string(m_tlsPort) + path;
}

void Nginx::limitRate(uint64_t bytesPerSecond) {
    m_rate = bytesPerSecond;
    ++m_generation;
    writeConfig();
    m_child->signal(SIGHUP);
    waitForGeneration();
}

void Nginx::makeCertificate() const {
    runOk({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
           "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
           "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", m_dir.file("key.pem"), "-out",
           m_dir.file("cert.pem")});
}

void Nginx::writeConfig() const {
    std::string text = kConfig;
    replace(text, "@USER@", geteuid() == 0 ? "user root root;" : "");
    replace(text, "@DIR@", m_dir.path().string());
    replace(text, "@PORT@", std::to_string(m_port));
    replace(text, "@TLSPORT@", std::to_string(m_tlsPort));
    replace(text, "@RATE@", std::to_string(m_rate));
    // Without this limit nginx sends the bytes of the first second at once.
    replace(text, "@CHUNK@", m_rate > 0 ? "sendfile_max_chunk 8k;" : "");
    replace(text, "@GENERATION@", std::to_string(m_generation));
    m_dir.write("nginx.conf", text);
}

bool Nginx::start() {
    m_child = std::make_unique<Child>(std::vector<std::string>{"nginx", "-p", m_dir.path().string(),
                                                               "-c", m_dir.file("nginx.conf"), "-e",
                                                               m_dir.file("error.log")});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (m_child->isRunning() && std::chrono::steady_clock::now() < end) {
        if (fetch(url("/-/generation")).body == std::to_string(m_generation))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_child.reset();
    return false;
}

/// Whether the old workers have gone. For a while they answer beside the new one; when they are
/// told to go, they log it.
bool Nginx::isCurrent() const {
    const std::string log = readFile(m_dir.file("error.log"));
    int gone = 0;
    for (size_t at = 0; (at = log.find("gracefully shutting down", at)) != std::string::npos; ++at)
        ++gone;
    return gone >= m_generation && fetch(url("/-/generation")).body == std::to_string(m_generation);
}

void Nginx::waitForGeneration() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (int answers = 0; answers < 3;) {
        answers = isCurrent() ? answers + 1 : 0;
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("nginx does not reload:\n" +
                                     readFile(m_dir.file("error.log")));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace test
