#include <support/TempDir.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {

TempDir::TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "reinokeitro-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no temporary folder: " + name);
    m_path = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::write(const std::string& name, std::string_view content) const {
    const std::filesystem::path path = m_path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + path.string());
    return path.string();
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path.string());
    return std::string(std::istreambuf_iterator<char>(in), {});
}

} // namespace test
