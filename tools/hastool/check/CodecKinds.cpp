#include "CodecKinds.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace hastool {
namespace {

struct Family {
    std::string_view begin;
    CodecKind kind;
};

constexpr Family kFamilies[] = {
    {"avc", CodecKind::Video},  {"hvc", CodecKind::Video},    {"hev", CodecKind::Video},
    {"dvh", CodecKind::Video},  {"dva", CodecKind::Video},    {"dav1", CodecKind::Video},
    {"av01", CodecKind::Video}, {"vp08", CodecKind::Video},   {"vp09", CodecKind::Video},
    {"vp8", CodecKind::Video},  {"vp9", CodecKind::Video},    {"mp4v", CodecKind::Video},
    {"vvc", CodecKind::Video},  {"vvi", CodecKind::Video},    {"mp4a", CodecKind::Audio},
    {"ac-3", CodecKind::Audio}, {"ec-3", CodecKind::Audio},   {"ac-4", CodecKind::Audio},
    {"opus", CodecKind::Audio}, {"Opus", CodecKind::Audio},   {"flac", CodecKind::Audio},
    {"fLaC", CodecKind::Audio}, {"alac", CodecKind::Audio},   {"mp3", CodecKind::Audio},
    {"dts", CodecKind::Audio},  {"vorbis", CodecKind::Audio}, {"mhm", CodecKind::Audio},
    {"mha", CodecKind::Audio},  {"stpp", CodecKind::Text},    {"wvtt", CodecKind::Text},
};

std::string_view withoutBlanks(std::string_view text) {
    const size_t first = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

} // namespace

CodecKind kindOfCodec(const std::string& codec) {
    const auto found =
        std::find_if(std::begin(kFamilies), std::end(kFamilies), [&](const Family& it) {
            return codec.compare(0, it.begin.size(), it.begin.data(), it.begin.size()) == 0;
        });
    return found == std::end(kFamilies) ? CodecKind::Unknown : found->kind;
}

std::string codecsOf(const std::string& list, CodecKind kind) {
    std::string result;
    std::string_view rest = list;
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(','), rest.size());
        const std::string codec(withoutBlanks(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (kindOfCodec(codec) == kind)
            result += (result.empty() ? "" : ",") + codec;
    }
    return result;
}

} // namespace hastool
