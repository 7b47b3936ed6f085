#include <support/FreePort.h>
#include <support/Proxy.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace test {
namespace {

constexpr int kStarts = 5; // a free port may be taken before the proxy binds it

} // namespace

Proxy::Proxy() {
    m_dir.write("log", "");
    for (int i = 0; i < kStarts; ++i) {
        m_port = freePort();
        m_dir.write("conf", "Port " + std::to_string(m_port) +
                                "\nListen 127.0.0.1\nAllow 127.0.0.1\nTimeout 600\nMaxClients 100"
                                "\nLogLevel Info\nLogFile \"" +
                                m_dir.file("log") + "\"\n");
        if (start())
            return;
    }
    throw std::runtime_error("tinyproxy does not start:\n" + log());
}

Proxy::~Proxy() = default;

int Proxy::requests() const {
    const std::string text = log();
    int result = 0;
    for (size_t at = 0; (at = text.find("Request (", at)) != std::string::npos; ++at)
        ++result;
    return result;
}

bool Proxy::start() {
    m_child = std::make_unique<Child>(
        std::vector<std::string>{"tinyproxy", "-d", "-c", m_dir.file("conf")});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (m_child->isRunning() && std::chrono::steady_clock::now() < end) {
        if (accepts(m_port))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_child.reset();
    return false;
}

} // namespace test
