#include "ByteSource.h"

#include "ToolError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace hastool {
namespace {

constexpr size_t kPieceSize = 1u << 20;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void fail(const std::string& path) {
    throw ToolError(path, std::string("cannot be read: ") + std::strerror(errno));
}

void readAll(std::FILE* file, const std::string& name, const PieceSink& sink) {
    std::vector<unsigned char> piece(kPieceSize);
    while (const size_t size = std::fread(piece.data(), 1, piece.size(), file))
        sink(piece.data(), size);
    if (std::ferror(file) != 0)
        fail(name);
}

void readFile(const std::string& path, const PieceSink& sink) {
    const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rbe"));
    if (!file)
        fail(path);
    readAll(file.get(), path, sink);
}

} // namespace

ByteSource fileSource(const std::string& path) {
    return [path](const PieceSink& sink) { readFile(path, sink); };
}

ByteSource standardInput() {
    return [](const PieceSink& sink) { readAll(stdin, "standard input", sink); };
}

ByteSource memorySource(const std::string& bytes) {
    return [&bytes](const PieceSink& sink) {
        sink(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    };
}

} // namespace hastool
