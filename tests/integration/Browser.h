// A web browser without a window.
#pragma once

#include <support/Child.h>
#include <support/TempDir.h>

#include <algorithm>
#include <string>
#include <vector>

namespace test {

/// A page after it was loaded.
struct LoadedPage {
    std::string dom;     ///< after its scripts have run
    std::string console; ///< what it told the console: errors, and nothing else is expected
};

/// The command line of Chromium with the options that every run has.
/// @param profile  a folder that is not there yet
inline std::vector<std::string> browserCommand(const std::string& profile) {
    return {"chromium",
            "--headless",
            "--no-sandbox",
            "--disable-gpu",
            "--disable-quic",
            "--disable-sync",
            "--no-first-run",
            "--disable-dev-shm-usage",
            "--disable-component-update",
            "--disable-background-networking",
            "--enable-logging=stderr",
            "--user-data-dir=" + profile};
}

/// Runs Chromium with a profile of its own.
class Browser {
public:
    /// Loads a page to its end.
    /// @param url  may have a fragment
    LoadedPage load(const std::string& url) const {
        const Child::Result result = start({"--dump-dom", url});
        LoadedPage page;
        page.dom = result.out;
        page.console = consoleIn(result.err);
        return page;
    }
    /// Prints a page.
    void print(const std::string& url, const std::string& pdf) const {
        start({"--no-pdf-header-footer", "--print-to-pdf=" + pdf, url});
    }

private:
    Child::Result start(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = browserCommand(m_home.file("profile"));
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command, {"HOME=" + m_home.path().string()}, std::chrono::seconds(90));
    }

    /// The lines like "[...:INFO:CONSOLE(12)] "text", source: ...".
    static std::string consoleIn(const std::string& log) {
        std::string result;
        for (size_t begin = 0; begin < log.size();) {
            const size_t end = std::min(log.find('\n', begin), log.size());
            const std::string line = log.substr(begin, end - begin);
            if (line.find("CONSOLE") != std::string::npos)
                result += line + "\n";
            begin = end + 1;
        }
        return result;
    }

    TempDir m_home;
};

} // namespace test
