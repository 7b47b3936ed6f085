#include <support/Child.h>
#include <support/Descriptor.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

/// The system's folders of servers are not in every user's PATH.
std::string findProgram(const std::string& name) {
    if (name.find('/') != std::string::npos)
        return name;
    const char* path = std::getenv("PATH");
    const std::string folders = std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin";
    for (size_t begin = 0; begin < folders.size();) {
        const size_t end = std::min(folders.find(':', begin), folders.size());
        std::string file = folders.substr(begin, end - begin) + "/" + name;
        if (access(file.c_str(), X_OK) == 0)
            return file;
        begin = end + 1;
    }
    throw std::runtime_error("no such program: " + name);
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& more) {
    // The first setting of a name counts, so the given ones come first.
    std::vector<std::string> result = more;
    for (char** entry = environ; *entry != nullptr; ++entry)
        result.emplace_back(*entry);
    return result;
}

Descriptor openForWriting(const std::string& path) {
    return Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

} // namespace

Child::Child(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    // Everything is made before the fork: between fork and exec no memory may be allocated.
    const std::string program = findProgram(command.at(0));
    std::vector<std::string> arguments = command;
    std::vector<std::string> settings = environmentWith(environment);
    const std::vector<char*> argv = pointers(arguments);
    const std::vector<char*> envp = pointers(settings);
    const Descriptor in(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor out = openForWriting(m_files.file("out"));
    const Descriptor err = openForWriting(m_files.file("err"));
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid < 0)
        throw std::runtime_error("cannot fork");
    if (m_pid > 0) {
        setpgid(m_pid, m_pid);
        return;
    }
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(in.get(), STDIN_FILENO);
    dup2(out.get(), STDOUT_FILENO);
    dup2(err.get(), STDERR_FILENO);
    if (getppid() == parent)
        execve(program.c_str(), argv.data(), envp.data());
    _exit(127);
}

Child::~Child() {
    end();
}

bool Child::isRunning() {
    return !reap(std::chrono::milliseconds(0));
}

void Child::signal(int number) const {
    if (m_pid > 0)
        kill(m_pid, number);
}

Child::Result Child::wait(std::chrono::seconds time) {
    if (!reap(time))
        throw std::runtime_error("still running after its time\n" + out() + err());
    return {m_status, out(), err()};
}

void Child::end() {
    if (m_pid < 0)
        return;
    const pid_t group = m_pid;
    kill(-group, SIGTERM);
    if (!reap(std::chrono::seconds(5))) {
        kill(-group, SIGKILL);
        reap(std::chrono::seconds(5));
    }
}

bool Child::reap(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (m_pid > 0) {
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            m_pid = -1;
            return true;
        }
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

Child::Result run(const std::vector<std::string>& command,
                  const std::vector<std::string>& environment, std::chrono::seconds time) {
    return Child(command, environment).wait(time);
}

std::string runOk(const std::vector<std::string>& command, std::chrono::seconds time) {
    const Child::Result result = run(command, {}, time);
    if (result.status != 0)
        throw std::runtime_error(command.at(0) + " failed with " + std::to_string(result.status) +
                                 "\n" + result.out + result.err);
    return result.out;
}

} // namespace test
