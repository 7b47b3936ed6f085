#include "TraceFile.h"

#include "CookedTrace.h"
#include "PacketTrace.h"
#include "PlayTrace.h"
#include "RateTrace.h"
#include "TraceText.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

namespace fs = std::filesystem;

enum class Format { Json, Rates, PlayCsv, Cooked, Packets, Unknown };

Format formatOf(std::string_view firstLine) {
    const char letter = firstLine.empty() ? '\0' : firstLine.front();
    if (letter == '[' || letter == '{')
        return Format::Json;
    if (isPlayTraceHeading(firstLine))
        return Format::PlayCsv;
    if (firstLine.find(',') != std::string_view::npos)
        return Format::Rates;
    if (letter < '0' || letter > '9')
        return Format::Unknown;
    return splitAt(firstLine, " \t", true).size() > 1 ? Format::Cooked : Format::Packets;
}

std::vector<TracePeriod> readJson(const std::string& text, const std::string& where) {
    const auto list = nlohmann::json::parse(text, nullptr, false);
    if (list.is_array() && !list.empty() && isPlayTraceRow(list.front()))
        return readPlayTraceJson(list, where);
    return readRateTrace(text, where);
}

std::string textOf(const std::string& path) {
    std::string text;
    fileSource(path)([&](const unsigned char* data, size_t size) {
        if (size > kMaxTraceBytes - text.size())
            throw ToolError(path, "too long for a trace");
        text.append(reinterpret_cast<const char*>(data), size);
    });
    return text;
}

/// What looks like no trace is passed over in a folder; a file that looks like one and is broken is
/// not.
bool looksLikeTrace(const std::string& text) {
    TraceLines lines(text, {});
    if (!lines.next())
        return false;
    const Format format = formatOf(lines.line());
    if (format == Format::Json) {
        const auto list = nlohmann::json::parse(text, nullptr, false);
        return list.is_discarded() || list.is_array();
    }
    return format != Format::Unknown &&
           (format != Format::Rates || lines.line() == "time_s,kbps" ||
            lines.line().find_first_not_of("0123456789., \t") == std::string_view::npos);
}

void addFolder(const fs::path& folder, std::vector<NetworkTrace>& traces) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (it->is_regular_file(error) && it->path().filename().string().front() != '.')
            files.push_back(it->path());
    }
    if (error)
        throw ToolError(folder.string(), error.message());
    std::sort(files.begin(), files.end());
    // "traces/" has no last name of its own.
    const fs::path named = folder.has_filename() ? folder : folder.parent_path();
    const size_t before = traces.size();
    for (const fs::path& file : files) {
        const std::string text = textOf(file.string());
        if (looksLikeTrace(text))
            traces.push_back({file.filename().string(), named.filename().string(),
                              readTrace(text, file.string())});
    }
    if (traces.size() == before)
        throw ToolError(folder.string(), "no trace in this folder");
}

} // namespace

std::vector<TracePeriod> readTrace(const std::string& text, const std::string& where) {
    TraceLines lines(text, where);
    if (!lines.next())
        throw ToolError(where, "an empty file");
    switch (formatOf(lines.line())) {
    case Format::Json:
        return readJson(text, where);
    case Format::Rates:
        return readRateTrace(text, where);
    case Format::PlayCsv:
        return readPlayTraceCsv(text, where);
    case Format::Cooked:
        return readCookedTrace(text, where);
    case Format::Packets:
        return readPacketTrace(text, where);
    case Format::Unknown:
        break;
    }
    lines.fail("not a trace: " + inQuotes(lines.line()));
}

std::vector<NetworkTrace> loadTraces(const std::vector<std::string>& paths) {
    std::vector<NetworkTrace> traces;
    for (const std::string& path : paths) {
        std::error_code error;
        if (fs::is_directory(path, error))
            addFolder(path, traces);
        else
            traces.push_back(
                {fs::path(path).filename().string(), {}, readTrace(textOf(path), path)});
    }
    std::set<std::pair<std::string, std::string>> names;
    for (const NetworkTrace& it : traces) {
        if (!names.insert({it.set, it.name}).second)
            throw ToolError(it.name, "two traces of this name" +
                                         (it.set.empty() ? "" : " in the set " + it.set));
    }
    return traces;
}

} // namespace hastool
