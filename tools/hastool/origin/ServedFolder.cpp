#include "ServedFolder.h"

#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/smooth/SmoothManifest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>

namespace hastool {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxEntries = 200000; // files and folders that are searched for presentations
constexpr int kMaxDepth = 4;
constexpr char kSmooth[] = "application/vnd.ms-sstr+xml";
constexpr size_t kBeginning = 4096; // of a file, enough to see what it is

bool isPart(const fs::path& part) {
    return part != ".." && part != "." && part != "/" && !part.empty();
}

std::string beginningOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kBeginning, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

/// Looks for presentations.
class Finder {
public:
    explicit Finder(const fs::path& root) {
        const auto options = fs::directory_options::skip_permission_denied;
        std::error_code error;
        size_t count = 0;
        for (fs::recursive_directory_iterator it(root, options, error), end;
             it != end && !error && count < kMaxEntries; it.increment(error), ++count) {
            if (it.depth() >= kMaxDepth)
                it.disable_recursion_pending();
            if (it->is_regular_file(error))
                look(it->path());
        }
    }

    std::set<fs::path> result() {
        for (const fs::path& playlist : m_playlists) {
            if (!hasMaster(playlist.parent_path()))
                m_manifests.insert(playlist);
        }
        return std::move(m_manifests);
    }

private:
    void look(const fs::path& path) {
        const std::string extension = path.extension().string();
        const bool isSmooth = path.filename() == "Manifest" || extension == ".ismc";
        if ((extension == ".mpd" && looksLikeDash(beginningOf(path))) ||
            (isSmooth && looksLikeSmooth(beginningOf(path))))
            m_manifests.insert(path);
        if (extension != ".m3u8")
            return;
        const bool isMaster = beginningOf(path).find("#EXT-X-STREAM-INF") != std::string::npos;
        (isMaster ? m_manifests : m_playlists).insert(path);
        if (isMaster)
            m_masters.insert(path.parent_path());
    }

    /// Whether there is a master playlist in a folder or above it.
    bool hasMaster(fs::path folder) const {
        for (; folder.has_relative_path(); folder = folder.parent_path()) {
            if (m_masters.count(folder) > 0)
                return true;
        }
        return false;
    }

    std::set<fs::path> m_manifests;
    std::set<fs::path> m_playlists; ///< that are no master playlists
    std::set<fs::path> m_masters;   ///< folders that hold one
};

} // namespace

ServedFolder::ServedFolder(fs::path root)
    : m_root(std::move(root)) {
    std::error_code error;
    if (!fs::is_directory(m_root, error))
        throw ToolError(m_root.string(), error ? error.message() : "not a folder");
    m_root = fs::canonical(m_root);
}

/// Where a URL's path leads, whether there is a file or not; nothing for one that leads out.
std::optional<fs::path> ServedFolder::place(const std::string& path) const {
    if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos)
        return std::nullopt;
    const fs::path parts = fs::path(path).relative_path();
    if (!std::all_of(parts.begin(), parts.end(), isPart))
        return std::nullopt;
    return m_root / parts;
}

std::optional<fs::path> ServedFolder::find(const std::string& path) const {
    auto file = place(path);
    std::error_code error;
    if (!file || !fs::is_regular_file(*file, error))
        return std::nullopt;
    return file;
}

std::optional<fs::path> ServedFolder::findFolder(const std::string& path) const {
    const size_t end = path.find_last_not_of('/');
    if (!path.empty() && end == std::string::npos)
        return m_root;
    auto folder = place(path.substr(0, end + 1));
    std::error_code error;
    if (!folder || !fs::is_directory(*folder, error))
        return std::nullopt;
    return folder;
}

std::vector<std::string> ServedFolder::presentations() const {
    std::vector<std::string> paths;
    for (const fs::path& it : Finder(m_root).result())
        paths.push_back("/" + it.lexically_relative(m_root).generic_string());
    return paths;
}

std::string contentType(const fs::path& file) {
    static const std::pair<const char*, const char*> kTypes[] = {
        {".m3u8", "application/vnd.apple.mpegurl"},
        {".mpd", "application/dash+xml"},
        {".ismc", kSmooth},
        {".ts", "video/mp2t"},
        {".aac", "audio/aac"},
        {".mp4", "video/mp4"},
        {".m4v", "video/mp4"},
        {".m4s", "video/iso.segment"},
        {".m4a", "audio/mp4"},
        {".cmfv", "video/mp4"},
        {".cmfa", "audio/mp4"},
        {".mp3", "audio/mpeg"},
        {".vtt", "text/vtt"},
        {".json", "application/json"},
        {".js", "text/javascript; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".html", "text/html; charset=utf-8"},
    };
    const std::string name = file.filename().string();
    if (name == "Manifest")
        return kSmooth;
    for (const auto& [begin, type] :
         {std::pair("Fragments(video", "video/mp4"), std::pair("Fragments(audio", "audio/mp4")}) {
        if (name.compare(0, std::string_view(begin).size(), begin) == 0)
            return type;
    }
    const std::string extension = file.extension().string();
    const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                          [&](const auto& it) { return it.first == extension; });
    return type != std::end(kTypes) ? type->second : "application/octet-stream";
}

std::string encodedPath(const std::string& path) {
    return percentEncoded(path, "/()=,@:+!*'");
}

std::optional<fs::path> builtInPresentations() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const fs::path prefix = program.parent_path().parent_path();
    for (const char* const place : {"presentations", "share/reinokeitro/presentations"}) {
        if (!program.empty() && fs::is_directory(prefix / place, error))
            return prefix / place;
    }
    return std::nullopt;
}

} // namespace hastool
