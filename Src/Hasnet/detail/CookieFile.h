// Cookie files: their lines, and reading and replacing them.
#pragma once

#include <Hasnet/Cookie.h>

#include <cstdio>
#include <memory>
#include <string>

namespace hascommon::detail {

struct FileClose {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileClose>;

/// What stands before the cookies in a file.
const char* cookieFileHeader();

/// A cookie as a line of a file, with its line feed.
std::string cookieFileLine(const Cookie& cookie);

/// Reads the next line without its line feed; what is beyond the longest line is dropped.
/// @return whether there was one
bool readLine(FILE* file, std::string& line);

/// Replaces a file by one with this content, readable by its owner only, or leaves it as it is: at
/// no moment is there a file with a part of the content.
/// @return whether the file was replaced
bool replaceFile(const std::string& path, const std::string& content);

} // namespace hascommon::detail
