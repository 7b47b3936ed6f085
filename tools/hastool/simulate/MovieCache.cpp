#include "MovieCache.h"

#include "MovieFile.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/OutputFile.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <openssl/evp.h>
#include <unistd.h>

namespace hastool {
namespace {

namespace fs = std::filesystem;

std::string digestOf(const std::string& text) {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), bytes, &size, EVP_sha256(), nullptr) != 1)
        throw ToolError("SHA-256 is not to be had");
    std::string digits;
    for (unsigned int i = 0; i < size; ++i) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", bytes[i]);
        digits += two;
    }
    return digits;
}

/// A variable that names a folder by its whole path.
std::string folderIn(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): none is set here
    return value != nullptr && *value == '/' ? value : "";
}

} // namespace

MovieCache::MovieCache() {
    std::string base = folderIn("XDG_CACHE_HOME");
    if (base.empty() && !folderIn("HOME").empty())
        base = folderIn("HOME") + "/.cache";
    if (!base.empty())
        m_folder = base + "/hastool/movies";
}

std::string MovieCache::pathOf(const std::string& url) const {
    return m_folder.empty() ? std::string() : m_folder + "/" + digestOf(url) + ".json";
}

std::optional<Movie> MovieCache::find(const std::string& url) const {
    const std::string path = pathOf(url);
    std::error_code error;
    if (path.empty() || !fs::is_regular_file(path, error))
        return std::nullopt;
    try {
        std::string text;
        fileSource(path)([&](const unsigned char* data, size_t size) {
            text.append(reinterpret_cast<const char*>(data), size);
        });
        Movie movie = readMovie(text, path);
        movie.name = withoutSecrets(url);
        return movie;
    } catch (const ToolError&) {
        return std::nullopt; // asked for again
    }
}

void MovieCache::keep(const std::string& url, const Movie& movie) const {
    const std::string path = pathOf(url);
    if (path.empty())
        return;
    std::error_code error;
    fs::create_directories(m_folder, error);
    // The name of this process's own: another one may keep the same movie at this moment.
    const std::string part = path + "." + std::to_string(getpid()) + ".part";
    OutputFile file(part, OutputFile::Mode::Direct);
    file.write(movieText(movie, withoutSecrets(url)));
    file.commit();
    fs::rename(part, path, error);
    if (error)
        throw ToolError(path, "cannot be written: " + error.message());
}

} // namespace hastool
