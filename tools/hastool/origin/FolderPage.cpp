#include "FolderPage.h"

#include "ServedFolder.h"
#include "Templates.h"
#include <hastool/base/HtmlText.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace hastool {
namespace {

constexpr size_t kMaxNames = 10000; // more than anybody reads

std::string row(const std::string& url, const std::string& name) {
    return fillTemplate(kFolderRowHtml, {{"url", escapeHtml(url)}, {"name", escapeHtml(name)}});
}

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
    std::string rows = path != "/" ? row("../", "../") : "";
    for (const auto& [isFile, name] : names)
        rows += row("./" + encodedPath(name), name); // "./", so that no colon makes a scheme
    return fillTemplate(kFolderHtml, {{"path", escapeHtml(path)}, {"rows", rows}});
}

} // namespace hastool
