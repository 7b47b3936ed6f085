#include "FolderSource.h"

#include <hastool/base/BlockSource.h>
#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace hastool {
namespace {

namespace fs = std::filesystem;

bool isLocal(const std::string& url) {
    return url.compare(0, sizeof FolderSource::kUrl - 1, FolderSource::kUrl) == 0;
}

/// What lies in the folder under a URL's path.
fs::path pathOf(const std::string& folder, const std::string& url) {
    const std::string path = url.substr(sizeof FolderSource::kUrl - 1);
    return fs::path(folder) / percentDecoded(path.substr(0, path.find_first_of("?#")));
}

/// Whether a path leads out of the folder, over links too.
bool leadsOut(const fs::path& path, const std::string& folder) {
    std::error_code error;
    const fs::path inside = fs::weakly_canonical(path, error);
    const fs::path root = fs::weakly_canonical(folder, error);
    return error || std::mismatch(root.begin(), root.end(), inside.begin(), inside.end()).first !=
                        root.end();
}

bool isManifestName(const std::string& name) {
    const std::string lower = lowered(name);
    const auto endsWith = [&](std::string_view end) {
        return lower.size() >= end.size() &&
               lower.compare(lower.size() - end.size(), end.size(), end) == 0;
    };
    return endsWith(".m3u8") || endsWith(".m3u") || endsWith(".mpd") || endsWith(".ismc") ||
           lower == "manifest";
}

std::vector<std::string> manifestsIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (isManifestName(it->path().filename().string()) && it->is_regular_file(error))
            names.push_back(it->path().filename().string());
    }
    if (error)
        throw ToolError(folder, error.message());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

FolderSource::FolderSource(std::string folder, CheckSource& remote)
    : m_folder(std::move(folder))
    , m_remote(remote) {}

void FolderSource::expect(const std::vector<Resource>& resources) {
    std::vector<Resource> others;
    std::copy_if(resources.begin(), resources.end(), std::back_inserter(others),
                 [](const Resource& it) { return !isLocal(it.url); });
    if (!others.empty())
        m_remote.expect(others);
}

CheckSource::Fetched FolderSource::fetch(const Resource& resource) {
    if (!isLocal(resource.url))
        return m_remote.fetch(resource);
    Fetched result;
    result.answer.resource = resource;
    result.answer.finalUrl = resource.url;
    result.answer.isLocal = true;
    try {
        read(resource, result);
        result.answer.ok = true;
    } catch (const ToolError& error) {
        result.answer.failure = error.what();
    }
    result.answer.bytes = result.bytes.size();
    return result;
}

std::optional<std::string> FolderSource::fileOf(const std::string& url) const {
    if (!isLocal(url))
        return std::nullopt;
    const fs::path path = pathOf(m_folder, url);
    if (leadsOut(path, m_folder))
        throw ToolError("it lies outside the folder that is checked");
    return path.string();
}

/// @throws ToolError
void FolderSource::read(const Resource& resource, Fetched& result) const {
    const BlockSource file = fileBlocks(fileOf(resource.url).value_or(std::string()));
    const uint64_t first = resource.range ? resource.range->first : 0;
    if (first > file.size || (resource.range && first == file.size))
        throw ToolError("its range begins behind its end, at " + std::to_string(file.size));
    const uint64_t rest = file.size - first;
    const uint64_t size =
        resource.range ? std::min(resource.range->length.value_or(rest), rest) : rest;
    if (size > kMaxCheckedBytes)
        throw ToolError("more than " + std::to_string(kMaxCheckedBytes >> 20) + " MiB");
    result.bytes.resize(static_cast<size_t>(size));
    file.read(first, reinterpret_cast<unsigned char*>(result.bytes.data()), result.bytes.size());
    if (resource.range && resource.range->length && size < *resource.range->length)
        throw ToolError("its range ends behind its end, at " + std::to_string(file.size));
}

LocalPresentation findPresentation(const std::string& path) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        const fs::path file(path);
        const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
        return {folder.string(), FolderSource::kUrl + percentEncoded(file.filename().string())};
    }
    std::vector<std::string> names = manifestsIn(path);
    const auto preferred = std::find_if(
        names.begin(), names.end(), [](const std::string& name) { return name == "master.m3u8"; });
    if (preferred != names.end())
        names = {*preferred};
    if (names.empty())
        throw ToolError(path, "no manifest in this folder (*.m3u8, *.mpd, *.ismc, Manifest)");
    if (names.size() > 1)
        throw ToolError(path, "several manifests in this folder: name one, " + names[0] + " or " +
                                  names[1]);
    return {path, FolderSource::kUrl + percentEncoded(names[0])};
}

} // namespace hastool
