// The socket-buffer settings that an engine writes when it is made.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace hascommon::detail {

struct SocketBufferSetting {
    const char* name;
    const char* value;
    std::size_t bytes; ///< of the value that are written
};

constexpr std::array<SocketBufferSetting, 4> kSocketBufferSettings{{
    {"wmem_max", "1677721600", 10},
    {"rmem_max", "1677721600", 10},
    {"tcp_wmem", "1024000 8738000 1677721600", 26},
    {"tcp_rmem", "1024000 8738000 1677721600", 26},
}};

/// The setting's file. It lies under the process's own entry, not under the system's network
/// settings; this is meant.
std::string socketBufferPath(const char* name);

enum class FileResult { Done, OpenFailed, WriteFailed };

/// Reads at most the first 32 bytes of a file.
FileResult readStart(const std::string& path, std::string& content);
/// Writes to the start of a file, which is made when it is missing.
FileResult writeStart(const std::string& path, const char* data, std::size_t size);

/// Reads, logs and writes all settings. What fails is logged, and the next one tried.
void writeSocketBuffers();

} // namespace hascommon::detail
