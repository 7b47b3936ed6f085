// Programs that a test runs.
#pragma once

#include <support/TempDir.h>

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace test {

/// A child process in a process group of its own, with its output in files. It is ended with the
/// object, and by the kernel when the test program dies.
class Child {
public:
    /// How it ended, and what it printed.
    struct Result {
        int status = -1; ///< exit status, or 128 + the signal that killed it
        std::string out;
        std::string err;
    };

    /// Starts a program, which is looked for in PATH and in the folders of system programs.
    /// @param environment  settings "NAME=value" beside those of the test program
    explicit Child(const std::vector<std::string>& command,
                   const std::vector<std::string>& environment = {});
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool isRunning();
    void signal(int number) const;
    /// Waits for the end; throws std::runtime_error after the time, with the output so far.
    Result wait(std::chrono::seconds time = std::chrono::seconds(60));
    /// Ends the whole group by SIGTERM, or by SIGKILL if that is not enough.
    void end();
    std::string out() const { return readFile(m_files.file("out")); }
    std::string err() const { return readFile(m_files.file("err")); }

private:
    bool reap(std::chrono::milliseconds time);

    TempDir m_files;
    pid_t m_pid = -1;
    int m_status = -1;
};

/// Runs a program to its end.
Child::Result run(const std::vector<std::string>& command,
                  const std::vector<std::string>& environment = {},
                  std::chrono::seconds time = std::chrono::seconds(60));

/// Runs a program that must succeed; throws std::runtime_error with its output otherwise.
std::string runOk(const std::vector<std::string>& command,
                  std::chrono::seconds time = std::chrono::seconds(60));

} // namespace test
