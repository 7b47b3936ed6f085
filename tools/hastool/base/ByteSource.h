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

/// A file's bytes. It is opened by each call. @throws ToolError, from the call, when it cannot be
/// read
ByteSource fileSource(const std::string& path);

/// What comes in on the standard input, once. @throws ToolError, from the call, when it cannot be
/// read
ByteSource standardInput();

/// Bytes in memory.
/// @param bytes  borrowed
ByteSource memorySource(const std::string& bytes);

} // namespace hastool
