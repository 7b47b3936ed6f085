// The files that an origin serves.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// A folder as the root of URLs.
class ServedFolder {
public:
    /// @throws ToolError for what is no folder
    explicit ServedFolder(std::filesystem::path root);

    const std::filesystem::path& root() const { return m_root; }
    /// The file that the decoded path of a URL names; nothing when there is none, or when the path
    /// leads out of the folder.
    std::optional<std::filesystem::path> find(const std::string& path) const;

    /// The folder that the decoded path of a URL names, which may be the root; nothing likewise.
    std::optional<std::filesystem::path> findFolder(const std::string& path) const;

    /// Paths, as find() takes them, of the presentations in the folder and its subfolders: DASH and
    /// Smooth manifests and HLS playlists, without media playlists below a master playlist. In
    /// order of their paths.
    std::vector<std::string> presentations() const;

private:
    std::optional<std::filesystem::path> place(const std::string& path) const;

    std::filesystem::path m_root;
};

/// The MIME type for a file's name.
std::string contentType(const std::filesystem::path& file);
/// A path as it is written in a URL, percent-encoded where needed.
std::string encodedPath(const std::string& path);
/// Where the built-in presentations are, beside the running program; nothing when they have not
/// been made.
std::optional<std::filesystem::path> builtInPresentations();

/// What to say where there are no built-in presentations.
constexpr char kPresentationsMissing[] =
    "the built-in presentations have not been made; \"cmake --build build/release --target "
    "presentations\" makes them, as scripts/demo.sh does, or name another folder";

} // namespace hastool
