// The tool's own server as a user runs it.
#pragma once

#include "Hastool.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// `hastool serve`, from its first URL on.
class Serve {
public:
    explicit Serve(const std::vector<std::string>& arguments)
        : m_child(command(arguments), hastoolEnvironment()) {
        const auto begin = std::chrono::steady_clock::now();
        while (m_child.err().find(" until interrupted\n") == std::string::npos) {
            if (!m_child.isRunning() ||
                std::chrono::steady_clock::now() - begin > std::chrono::seconds(60))
                throw std::runtime_error("hastool serve: " + m_child.err());
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    /// The URL that ends so.
    std::string url(const std::string& end) const {
        std::istringstream urls(m_child.out());
        for (std::string url; std::getline(urls, url);) {
            if (url.size() > end.size() && url.substr(url.size() - end.size()) == end)
                return url;
        }
        throw std::runtime_error("no URL ends in " + end);
    }
    std::string out() const { return m_child.out(); }
    std::string err() const { return m_child.err(); }
    /// For messages: what the server has printed, and whether it still runs.
    std::string state() { return m_child.err() + (m_child.isRunning() ? "" : "it has ended\n"); }
    Child::Result interrupt(int signal) {
        m_child.signal(signal);
        return m_child.wait();
    }

private:
    static std::vector<std::string> command(const std::vector<std::string>& arguments) {
        std::vector<std::string> all = {"serve"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return hastoolCommand(all);
    }

    Child m_child;
};

} // namespace test
