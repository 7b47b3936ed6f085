#include "OutputFile.h"

#include "ToolError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace hastool {
namespace {

constexpr mode_t kFileMode = 0666; // less the user's mask

/// False for devices and pipes: they are written to, and never replaced by a file.
bool isReplaceable(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    return !std::filesystem::exists(status) || std::filesystem::is_regular_file(status);
}

} // namespace

OutputFile::OutputFile(std::string path, Mode mode)
    : m_path(std::move(path))
    , m_writtenPath(m_path) {
    if (mode == Mode::Replace && isReplaceable(m_path))
        m_writtenPath += ".part";
    if (m_writtenPath != m_path)
        unlink(noteOfPart(m_writtenPath).c_str());
    m_fd = open(m_writtenPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
    if (m_fd < 0)
        throw ToolError(m_path, std::string("cannot be written: ") + std::strerror(errno));
}

OutputFile::OutputFile(StandardOutput)
    : m_path("standard output")
    , m_writtenPath(m_path)
    , m_fd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
    if (m_fd < 0)
        throw ToolError(m_path, std::string("cannot be written: ") + std::strerror(errno));
}

OutputFile OutputFile::standardOutput() {
    return OutputFile(StandardOutput{});
}

OutputFile::~OutputFile() {
    close();
    if (m_writtenPath != m_path)
        unlink(m_writtenPath.c_str());
}

bool OutputFile::write(const unsigned char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(m_fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            m_failure = m_path + ": " + std::strerror(errno);
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

void OutputFile::write(std::string_view text) {
    if (!write(reinterpret_cast<const unsigned char*>(text.data()), text.size()))
        throw ToolError(m_path, std::string("cannot be written: ") + std::strerror(errno));
}

void OutputFile::commit() {
    close();
    if (m_writtenPath == m_path)
        return;
    if (std::rename(m_writtenPath.c_str(), m_path.c_str()) != 0)
        throw ToolError(m_path, std::string("cannot be written: ") + std::strerror(errno));
    m_writtenPath = m_path;
}

std::string noteOfPart(const std::string& partPath) {
    return partPath + ".json";
}

void OutputFile::close() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

} // namespace hastool
