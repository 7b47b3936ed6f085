// What a folder holds, as a page.
#pragma once

#include <filesystem>
#include <string>

namespace hastool {

/// A page with a link to each file and folder in a folder, folders first, in order of their names.
/// @param path  of the folder on the server, decoded, with a slash at its end
std::string folderPage(const std::filesystem::path& folder, const std::string& path);

} // namespace hastool
