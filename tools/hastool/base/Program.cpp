#include "Program.h"

#include "Descriptor.h"
#include "Interrupt.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// The program's own environment.
extern char** environ; // NOLINT(readability-redundant-declaration)

namespace hastool {
namespace {

constexpr int kLookMs = 50;          // how often it is looked whether the user has interrupted
constexpr size_t kMostErrors = 4096; // bytes of messages that are kept

/// What the new program has open, and that no key on the terminal reaches it: an interrupt is told
/// to it by this one.
class Setting {
public:
    explicit Setting(int errors) {
        posix_spawn_file_actions_init(&m_files);
        posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&m_files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&m_files, errors, STDERR_FILENO);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    }
    ~Setting() {
        posix_spawn_file_actions_destroy(&m_files);
        posix_spawnattr_destroy(&m_attributes);
    }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

    int spawn(pid_t& pid, std::vector<char*>& words) const {
        return posix_spawnp(&pid, words.front(), &m_files, &m_attributes, words.data(), environ);
    }

private:
    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

/// Reads what the program writes until it closes the pipe, which it does when it ends.
std::string readErrors(int fd, pid_t pid) {
    std::string text;
    bool isTold = false;
    for (;;) {
        pollfd state{fd, POLLIN, 0};
        const int ready = poll(&state, 1, kLookMs);
        if (isInterrupted() && !isTold) {
            kill(pid, SIGTERM);
            isTold = true;
        }
        if (ready == 0 || (ready < 0 && errno == EINTR))
            continue;
        char piece[1024];
        const ssize_t size = read(fd, piece, sizeof piece);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return text;
        if (text.size() < kMostErrors)
            text.append(piece, static_cast<size_t>(size));
    }
}

} // namespace

ProgramEnd runProgram(const std::vector<std::string>& words) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {true, false, std::strerror(errno)};
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str())); // the interface does not write to it
    pointers.push_back(nullptr);
    pid_t pid = 0;
    const int failure = Setting(writing.get()).spawn(pid, pointers);
    if (failure == ENOENT)
        return {};
    if (failure != 0)
        return {true, false, std::strerror(failure)};
    writing.reset();
    ProgramEnd end;
    end.isThere = true;
    const std::string errors = readErrors(reading.get(), pid);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    end.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    end.trouble = errors.substr(0, errors.find('\n'));
    if (end.trouble.empty() && !end.ok)
        end.trouble = WIFEXITED(status) ? "status " + std::to_string(WEXITSTATUS(status))
                                        : "signal " + std::to_string(WTERMSIG(status));
    return end;
}

} // namespace hastool
