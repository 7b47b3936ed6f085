// Runs a harness over the files and folders named on the command line.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

int runFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    // A copy of exactly this size, so that a sanitizer sees a read behind the end.
    const std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return 1;
}

int runPath(const fs::path& path) {
    if (!fs::is_directory(path))
        return runFile(path);
    int count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file())
            count += runFile(entry.path());
    }
    return count;
}

} // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += runPath(argv[i]);
    printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
