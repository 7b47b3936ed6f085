#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/SocketBuffers.h>

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace hascommon::detail {
namespace {

class File {
public:
    File(const std::string& path, int flags)
        : m_fd(open(path.c_str(), flags | O_CLOEXEC, 0644)) {}
    ~File() {
        if (m_fd >= 0)
            close(m_fd);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int fd() const { return m_fd; }

private:
    const int m_fd;
};

} // namespace

std::string socketBufferPath(const char* name) {
    std::array<char, 31> path{};
    snprintf(path.data(), path.size(), "/proc/%d/%s", static_cast<int>(getpid()), name);
    return path.data();
}

FileResult readStart(const std::string& path, std::string& content) {
    const File file(path, O_RDONLY);
    if (file.fd() < 0)
        return FileResult::OpenFailed;
    std::array<char, 32> buffer{};
    const ssize_t size = read(file.fd(), buffer.data(), buffer.size());
    content.assign(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return FileResult::Done;
}

FileResult writeStart(const std::string& path, const char* data, std::size_t size) {
    const File file(path, O_WRONLY | O_CREAT);
    if (file.fd() < 0)
        return FileResult::OpenFailed;
    return write(file.fd(), data, size) < 0 ? FileResult::WriteFailed : FileResult::Done;
}

static void logSocketBuffer(const SocketBufferSetting& setting) {
    const std::string path = socketBufferPath(setting.name);
    std::string content;
    if (readStart(path, content) == FileResult::Done)
        HAS_LOG("%s : %s \n", path.c_str(), content.c_str());
    else
        HAS_LOG("fd open failed \n");
    const FileResult result = writeStart(path, setting.value, setting.bytes);
    if (result == FileResult::OpenFailed)
        HAS_LOG("fd open failed \n");
    if (result == FileResult::WriteFailed)
        HAS_LOG("fd write failed \n");
}

void writeSocketBuffers() {
    for (const SocketBufferSetting& setting : kSocketBufferSettings)
        logSocketBuffer(setting);
}

} // namespace hascommon::detail
