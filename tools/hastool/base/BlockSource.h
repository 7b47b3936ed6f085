// Bytes that can be read from any place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace hastool {

/// Bytes of a known number, of which any part can be read.
struct BlockSource {
    uint64_t size = 0;
    /// Reads `size` bytes from `at` on; the caller stays within the size above.
    /// @throws ToolError when that fails
    std::function<void(uint64_t at, unsigned char* to, size_t size)> read;
};

/// A file's bytes; the file stays open. @throws ToolError when it cannot be read, or is a pipe
BlockSource fileBlocks(const std::string& path);

/// Bytes in memory.
/// @param bytes  borrowed
BlockSource memoryBlocks(std::string_view bytes);

} // namespace hastool
