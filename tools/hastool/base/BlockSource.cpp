#include "BlockSource.h"

#include "ToolError.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hastool {
namespace {

class OpenFile {
public:
    explicit OpenFile(std::string path)
        : m_path(std::move(path))
        , m_fd(open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (m_fd < 0)
            fail(std::strerror(errno));
    }
    ~OpenFile() {
        if (m_fd >= 0)
            close(m_fd);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    uint64_t size() const {
        struct stat status {};
        if (fstat(m_fd, &status) != 0)
            fail(std::strerror(errno));
        if (!S_ISREG(status.st_mode))
            fail(S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "not a file");
        return static_cast<uint64_t>(status.st_size);
    }
    void read(uint64_t at, unsigned char* to, size_t size) const {
        while (size > 0) {
            const ssize_t got = pread(m_fd, to, size, static_cast<off_t>(at));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                fail(got < 0 ? std::strerror(errno) : "it has become shorter");
            at += static_cast<uint64_t>(got);
            to += got;
            size -= static_cast<size_t>(got);
        }
    }

private:
    [[noreturn]] void fail(const std::string& why) const {
        throw ToolError(m_path, "cannot be read: " + why);
    }

    std::string m_path;
    int m_fd;
};

} // namespace

BlockSource fileBlocks(const std::string& path) {
    const auto file = std::make_shared<const OpenFile>(path);
    return {file->size(),
            [file](uint64_t at, unsigned char* to, size_t size) { file->read(at, to, size); }};
}

BlockSource memoryBlocks(std::string_view bytes) {
    return {bytes.size(), [bytes](uint64_t at, unsigned char* to, size_t size) {
                std::memcpy(to, bytes.data() + at, size);
            }};
}

} // namespace hastool
