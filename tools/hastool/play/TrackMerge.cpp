#include "TrackMerge.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/Program.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace hastool {
namespace {

/// ffmpeg's name for what a file holds. It is told rather than left to ffmpeg to find out, which
/// would also take a playlist for media, and go where that leads.
std::optional<std::string> formatOf(const std::string& path) {
    std::array<char, 12> begin{};
    std::ifstream file(path, std::ios::binary);
    file.read(begin.data(), begin.size());
    const std::string_view bytes(begin.data(), begin.size());
    const std::string_view type = bytes.substr(4, 4);
    for (const char* const box : {"ftyp", "styp", "moov", "moof", "sidx", "free", "emsg", "prft"}) {
        if (type == box)
            return "mp4";
    }
    if (bytes[0] == 0x47)
        return "mpegts";
    const bool isAdts = bytes[0] == '\xFF' && (bytes[1] & 0xF6) == 0xF0;
    if (isAdts || bytes.substr(0, 3) == "ID3")
        return "aac";
    return std::nullopt;
}

void addInput(std::vector<std::string>& words, const std::string& path, const std::string& format) {
    for (const std::string& word : {std::string("-protocol_whitelist"), std::string("file"),
                                    std::string("-f"), format, std::string("-i"), "file:" + path})
        words.push_back(word);
}

} // namespace

bool isMergedName(const std::string& output) {
    constexpr std::string_view kEnd = ".mp4";
    return output.size() > kEnd.size() &&
           lowered(output.substr(output.size() - kEnd.size())) == kEnd;
}

MergeResult mergeTracks(const std::string& video, const std::string& audio) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(video, error) ||
        !std::filesystem::is_regular_file(audio, error))
        return {false, false, "not both of them have come"};
    if (isInterrupted())
        return {false, false, "interrupted"};
    const auto videoFormat = formatOf(video);
    const auto audioFormat = formatOf(audio);
    if (!videoFormat || !audioFormat)
        return {false, false, "of a kind that is not known"};
    const std::string merged = video + ".merged.part";
    std::vector<std::string> words = {"ffmpeg", "-v", "error", "-nostdin", "-y", "-copyts"};
    addInput(words, video, *videoFormat);
    addInput(words, audio, *audioFormat);
    for (const char* const word :
         {"-map", "0", "-map", "1:a", "-c", "copy", "-avoid_negative_ts", "make_zero", "-f", "mp4"})
        words.emplace_back(word);
    words.push_back("file:" + merged);
    const ProgramEnd end = runProgram(words);
    if (!end.isThere)
        return {false, false, "there is no ffmpeg to join them"};
    if (end.ok && std::rename(merged.c_str(), video.c_str()) == 0) {
        std::filesystem::remove(audio, error);
        return {true, true, ""};
    }
    const std::string why = end.ok ? std::strerror(errno) : end.trouble;
    std::filesystem::remove(merged, error);
    return {false, true, "ffmpeg: " + inQuotes(why)};
}

} // namespace hastool
