#include "FolderPage.h"

#include "ServedFolder.h"
#include "Templates.h"
#include <hastool/base/PageTemplate.h>

#include <algorithm>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr size_t kMaxNames = 10000; // more than anybody reads

} // namespace

std::string folderPage(const std::filesystem::path& folder, const std::string& path) {
    std::vector<std::pair<bool, std::string>> names; // whether it is a file, and its name
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end;
         it != end && !error && names.size() < kMaxNames; it.increment(error)) {
        std::error_code unknown;
        const bool isFolder = it->is_directory(unknown);
        names.emplace_back(!isFolder, it->path().filename().string() + (isFolder ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    auto rows = nlohmann::ordered_json::array();
    if (path != "/")
        rows.push_back({{"url", "../"}, {"name", "../"}});
    for (const auto& [isFile, name] : names) // "./", so that no colon makes a scheme
        rows.push_back({{"url", "./" + encodedPath(name)}, {"name", name}});
    return renderPage(kFolderHtml, {{"path", path}, {"names", rows}});
}

} // namespace hastool
