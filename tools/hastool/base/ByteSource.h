// Bytes that come piece by piece.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace hastool {

/// Takes the next piece.
using PieceSink = std::function<void(const unsigned char* data, size_t size)>;
/// Hands all its pieces over in order; every call begins anew.
using ByteSource = std::function<void(const PieceSink& sink)>;

/// A file's bytes; each call opens the file. The call @throws ToolError when it cannot be read
ByteSource fileSource(const std::string& path);

/// The standard input, which only the first call gets. The call @throws ToolError when it cannot
/// be read
ByteSource standardInput();

/// Bytes in memory.
/// @param bytes  borrowed
ByteSource memorySource(const std::string& bytes);

} // namespace hastool
