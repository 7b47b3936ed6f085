#include "CheckedFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using hastool::Finding;
using hastool::Severity;

std::string contentTypeOf(const std::string& path) {
    const std::map<std::string, std::string> types = {
        {".m3u8", "application/vnd.apple.mpegurl"},
        {".mpd", "application/dash+xml"},
        {".ts", "video/mp2t"},
        {".mp4", "video/mp4"},
        {".m4s", "video/iso.segment"},
        {".m4a", "audio/mp4"},
        {".aac", "audio/aac"},
        {".vtt", "text/vtt"},
        {".key", "application/octet-stream"},
    };
    const auto found = types.find(fs::path(path).extension().string());
    if (found != types.end())
        return found->second;
    return fs::path(path).filename() == "Manifest" ? "text/xml" : "video/mp4";
}

} // namespace

CheckedFolder::CheckedFolder(const std::string& presentation) {
    const fs::path folder = fs::path(PRESENTATIONS) / presentation;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        std::string& bytes = m_files[fs::relative(entry.path(), folder).string()];
        bytes.resize(static_cast<size_t>(entry.file_size()));
        std::ifstream(entry.path(), std::ios::binary)
            .read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    if (m_files.empty())
        ADD_FAILURE() << "no presentation in " << folder;
}

void CheckedFolder::replace(const std::string& path, const std::string& from,
                            const std::string& to) {
    std::string& text = file(path);
    const size_t at = text.find(from);
    if (at == std::string::npos) {
        ADD_FAILURE() << path << " has no \"" << from << "\"";
        return;
    }
    text.replace(at, from.size(), to);
}

void CheckedFolder::replaceAll(const std::string& path, const std::string& from,
                               const std::string& to) {
    std::string& text = file(path);
    size_t at = text.find(from);
    if (at == std::string::npos)
        ADD_FAILURE() << path << " has no \"" << from << "\"";
    for (; at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

std::vector<std::string> CheckedFolder::paths(const std::string& begin,
                                              const std::string& end) const {
    std::vector<std::string> result;
    for (const auto& [path, bytes] : m_files) {
        if (path.size() >= begin.size() + end.size() && path.compare(0, begin.size(), begin) == 0 &&
            path.compare(path.size() - end.size(), end.size(), end) == 0)
            result.push_back(path);
    }
    return result;
}

void CheckedFolder::setHeader(const std::string& path, const std::string& name,
                              const std::string& value) {
    m_headers[path][name] = value;
}

void CheckedFolder::setRedirects(const std::string& path, long count, const std::string& finalUrl) {
    m_redirects[path] = {count, finalUrl};
}

hastool::Evidence CheckedFolder::gather(const std::string& manifest,
                                        hastool::CheckOptions options) {
    const auto begin = hastool::TimeSource::Steady::now();
    options.time.steady = [this, begin] {
        return begin + std::chrono::microseconds(static_cast<long long>(m_time * 1e6));
    };
    constexpr double kEpoch = 1700000000; // any time
    options.time.wall = [this] { return kEpoch + m_time; };
    options.sleep = [this](double seconds) { m_time += seconds; };
    const bool isUrl = manifest.find("://") != std::string::npos;
    return hastool::gather(isUrl ? manifest : kUrl + manifest, *this, options);
}

hastool::Findings CheckedFolder::check(const std::string& manifest,
                                       const hastool::CheckOptions& options) {
    return hastool::judge(gather(manifest, options));
}

std::set<std::string> CheckedFolder::codes(const std::string& manifest,
                                           const hastool::CheckOptions& options) {
    return codesOf(check(manifest, options));
}

hastool::ResponseHead CheckedFolder::headOf(const std::string& path, long status) const {
    std::map<std::string, std::string> fields = {{"Content-Type", contentTypeOf(path)},
                                                 {"Access-Control-Allow-Origin", "*"}};
    const auto changed = m_headers.find(path);
    if (changed != m_headers.end()) {
        for (const auto& [name, value] : changed->second)
            fields[name] = value;
    }
    std::string lines = "HTTP/1.1 " + std::to_string(status) + " X\r\n";
    for (const auto& [name, value] : fields)
        lines += value.empty() ? "" : name + ": " + value + "\r\n";
    return hastool::ResponseHead(lines);
}

hastool::CheckSource::Fetched CheckedFolder::fetch(const hastool::Resource& resource) {
    constexpr size_t kBase = sizeof kUrl - 1;
    const bool isOurs = resource.url.compare(0, kBase, kUrl) == 0;
    const std::string whole = isOurs ? resource.url.substr(kBase) : resource.url;
    const std::string path = whole.substr(0, whole.find('?'));
    if (m_hook)
        m_hook(path, m_time);
    Fetched result;
    result.answer.resource = resource;
    result.answer.finalUrl = resource.url;
    result.answer.begun = m_time;
    const auto found = m_files.find(path);
    const auto status = m_status.find(path);
    result.answer.status = found == m_files.end() ? 404 : resource.range ? 206 : 200;
    if (status != m_status.end())
        result.answer.status = status->second;
    result.answer.head = headOf(path, result.answer.status);
    if (const auto redirect = m_redirects.find(path); redirect != m_redirects.end()) {
        result.answer.redirects = redirect->second.first;
        if (!redirect->second.second.empty())
            result.answer.finalUrl = redirect->second.second;
    }
    constexpr long kFirstFailure = 400;
    if (result.answer.status >= kFirstFailure || found == m_files.end()) {
        result.answer.failure = "HTTP " + std::to_string(result.answer.status);
        return result;
    }
    result.bytes = found->second;
    if (resource.range) {
        const auto first =
            static_cast<size_t>(std::min<uint64_t>(resource.range->first, result.bytes.size()));
        const auto length = static_cast<size_t>(std::min<uint64_t>(
            resource.range->length.value_or(result.bytes.size()), result.bytes.size()));
        result.bytes = result.bytes.substr(first, length);
    }
    result.answer.ok = true;
    result.answer.bytes = result.bytes.size();
    result.answer.seconds = 0.01;
    return result;
}

std::string linesOf(const hastool::Findings& findings) {
    std::string lines;
    for (const Finding& it : findings.sorted())
        lines += std::string(nameOf(it.rule->severity)) + " " + it.rule->code + " [" +
                 it.place.rendition + ", " + it.place.segment + ", " + it.place.where + "] " +
                 it.text + "\n";
    return lines;
}

std::set<std::string> codesOf(const hastool::Findings& findings, Severity least) {
    std::set<std::string> codes;
    for (const Finding& it : findings.all()) {
        if (it.rule->severity >= least)
            codes.insert(it.rule->code);
    }
    return codes;
}
