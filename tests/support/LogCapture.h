// Catches the library's log lines: the test program defines a strong __dlog_print.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace test {

/// One call of __dlog_print.
struct LogLine {
    int logId = 0;
    int priority = 0;
    std::string tag;
    std::string format;
    /// The formatted line, prefix included.
    std::string text;
    /// The prefix's parts, empty where the line has no such prefix.
    std::string file;
    std::string function;
    int line = 0;
    /// The formatted line behind the prefix.
    std::string message;
};

/// Collects the lines of all threads for as long as it lives; one at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    /// The messages (without prefix) in order; with a file name only those of that file.
    std::vector<std::string> messages(const std::string& file = {}) const;
    /// How many lines carry exactly this message.
    int count(const std::string& message) const;
    bool contains(const std::string& message) const { return count(message) > 0; }
    /// The first line with exactly this message; a default LogLine when there is none.
    LogLine find(const std::string& message) const;
    void clear();

    /// Calls the hook for every line from now on, on the thread that writes it and without a lock.
    /// So a test can act between two steps of the library. To be set before other threads log.
    void onLine(std::function<void(const LogLine&)> hook);
};

/// A highlighted line's text behind the prefix.
inline std::string highlighted(const std::string& message) {
    return "\033[1;31;42m " + message + "\033[0m ";
}

} // namespace test
