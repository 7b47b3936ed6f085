// Writes down how ffmpeg has encrypted a fragmented file: cenc_complete INPUT OUTPUT.
#include <support/CencFragments.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

std::string read(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file || bytes.empty())
        throw std::runtime_error(std::string(path) + ": cannot be read");
    return bytes;
}

void write(const char* path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    file.close();
    if (!file)
        throw std::runtime_error(std::string(path) + ": cannot be written");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: cenc_complete INPUT OUTPUT\n");
        return 2;
    }
    try {
        write(argv[2], test::withSampleEncryption(read(argv[1])));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cenc_complete: %s\n", error.what());
        return 1;
    }
    return 0;
}
