#include "LoadMovie.h"

#include "MovieCache.h"
#include "MovieFile.h"
#include "PresentationMovie.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/ToolError.h>
#include <hastool/check/EngineSource.h>
#include <hastool/check/FolderSource.h>

#include <filesystem>
#include <system_error>

namespace hastool {
namespace {

/// A file's text; empty for a folder.
std::string textOf(const std::string& path) {
    std::error_code error;
    std::string text;
    if (std::filesystem::is_directory(path, error))
        return text;
    fileSource(path)([&](const unsigned char* data, size_t size) {
        if (size > kMaxCheckedBytes - text.size())
            throw ToolError(path, "too long for a movie");
        text.append(reinterpret_cast<const char*>(data), size);
    });
    return text;
}

Movie movieOnServer(const std::string& url, const EngineOptions& options,
                    const std::function<void(const std::string&)>& warn) {
    const MovieCache cache;
    if (auto known = cache.find(url))
        return *std::move(known);
    EngineSource servers(options);
    Movie movie = PresentationMovie(servers, nullptr).load(url);
    try {
        cache.keep(url, movie);
    } catch (const ToolError& error) {
        warn(error.what());
    }
    return movie;
}

} // namespace

Movie loadMovie(const std::string& what, const EngineOptions& options,
                const std::function<void(const std::string&)>& warn) {
    if (what.find("://") != std::string::npos)
        return movieOnServer(what, options, warn);
    const std::string text = textOf(what);
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin != std::string::npos && text[begin] == '{')
        return readMovie(text, what);
    const LocalPresentation local = findPresentation(what);
    EngineSource servers(options);
    FolderSource folder(local.folder, servers);
    Movie movie = PresentationMovie(folder, &folder).load(local.url);
    movie.name = what;
    return movie;
}

} // namespace hastool
