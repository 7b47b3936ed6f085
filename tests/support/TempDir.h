// A folder of its own for a test.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test {

/// Made at construction, readable by this user only, removed with everything in it at destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    /// The path of a name inside.
    std::string file(const std::string& name) const { return (m_path / name).string(); }
    /// Writes a file inside, with the folders that it needs, and returns its path.
    std::string write(const std::string& name, std::string_view content) const;

private:
    std::filesystem::path m_path;
};

/// A file's bytes; throws std::runtime_error when it cannot be read.
std::string readFile(const std::filesystem::path& path);

} // namespace test
