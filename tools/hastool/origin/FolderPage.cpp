#include "FolderPage.h"

#include "ServedFolder.h"
#include <hastool/base/HtmlText.h>

#include <algorithm>
#include <utility>
#include <vector>

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
    const std::string title = escapeHtml(path);
    std::string page = "<!DOCTYPE html>\n<meta charset=\"utf-8\">\n<title>" + title +
                       "</title>\n<h1>" + title + "</h1>\n<ul>\n";
    if (path != "/")
        page += "<li><a href=\"../\">../</a>\n";
    for (const auto& [isFile, name] : names) // "./", so that no colon makes a scheme
        page += "<li><a href=\"./" + escapeHtml(encodedPath(name)) + "\">" + escapeHtml(name) +
                "</a>\n";
    return page + "</ul>\n";
}

} // namespace hastool
