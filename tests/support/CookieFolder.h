// A cookie folder of its own for one test, at the place where the jar looks for it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace test {

/// Makes the cookie folder of an application that no one else has, and removes it again.
class CookieFolder {
public:
    /// @param name  of the test; the process id is added, as other processes need other folders
    explicit CookieFolder(const std::string& name)
        : m_appId("hastest." + name + "." + std::to_string(getpid())) {
        std::filesystem::create_directories(root() + "/data/cookie");
    }
    ~CookieFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(root(), ignored);
    }
    CookieFolder(const CookieFolder&) = delete;
    CookieFolder& operator=(const CookieFolder&) = delete;

    const std::string& appId() const { return m_appId; }
    std::string root() const { return "/opt/usr/apps/" + m_appId; }
    std::string file(const std::string& name) const { return root() + "/data/cookie/" + name; }
    std::string persistentFile() const { return file("persistent_cookie.txt"); }
    std::string sessionFile() const { return file("session_cookie.txt"); }

    static std::string read(const std::string& path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    static void write(const std::string& path, const std::string& content) {
        std::ofstream(path, std::ios::binary) << content;
    }

private:
    std::string m_appId;
};

} // namespace test
