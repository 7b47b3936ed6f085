// HLS playlists line by line, and the rules that judge them: places are inside the text, lists that
// are whole are read as the other reader reads them, and no rule fails whatever it is given.
//
// Playlists are divided by lines of "---". The first is the manifest; those behind it are states of
// a media playlist.
#include <hastool/base/ToolError.h>
#include <hastool/check/PlaylistLines.h>
#include <hastool/check/Rule.h>
#include <hastool/formats/hls/HlsAttributes.h>
#include <hastool/formats/hls/HlsLines.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

void require(bool condition) {
    if (!condition)
        abort();
}

/// Also of an empty text, which is nowhere.
bool isWithin(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

/// A whole list has the values that the lenient reader finds, and survives being written.
void checkAttributes(std::string_view text) {
    const hastool::HlsAttributeLine list = hastool::readHlsAttributeLine(text);
    require(isWithin(list.rest, text));
    require(list.isBroken || list.rest.empty());
    std::string written;
    bool hasSpaces = false;
    for (const hastool::HlsAttributeText& it : list.attributes) {
        require(isWithin(it.name, text) && isWithin(it.value, text));
        require(it.value.find('"') == std::string_view::npos);
        hasSpaces = hasSpaces || it.hasSpaces;
        if (it.name.empty())
            continue;
        const char* const mark = it.isQuoted ? "\"" : "";
        written += (written.empty() ? "" : ",") + std::string(it.name) + "=" + mark +
                   std::string(it.value) + mark;
    }
    if (list.isBroken)
        return;
    const hastool::HlsAttributeLine again = hastool::readHlsAttributeLine(written);
    require(!again.isBroken);
    const auto lenient = hastool::HlsAttributes::parse(text);
    for (const hastool::HlsAttributeText& it : again.attributes) {
        require(list.get(it.name) == again.get(it.name));
        require(hasSpaces || (lenient && lenient->get(std::string(it.name)) == list.get(it.name)));
    }
}

void checkLines(const hastool::HlsLines& lines) {
    size_t before = 0;
    for (const hastool::HlsLine& line : lines.lines()) {
        require(line.number > before);
        before = line.number;
        require(!line.text.empty() && isWithin(line.text, lines.text()));
        require(line.text.find('\n') == std::string_view::npos);
        require((line.kind == hastool::HlsLine::Kind::Tag) == !line.tag.empty());
        require(isWithin(line.value, line.text));
        checkAttributes(line.value);
    }
}

std::vector<std::string> divided(std::string text) {
    constexpr std::string_view kBetween = "---\n";
    std::vector<std::string> parts;
    for (size_t at = text.find(kBetween); at != std::string::npos; at = text.find(kBetween)) {
        parts.push_back(text.substr(0, at));
        text.erase(0, at + kBetween.size());
    }
    parts.push_back(std::move(text));
    return parts;
}

void read(hastool::CheckedPlaylist& state, const std::string& text, double time) {
    state.answer.ok = true;
    state.answer.finalUrl = "http://host/list.m3u8";
    state.answer.begun = time;
    state.text = text;
    try {
        state.playlist = hastool::parseHlsPlaylist(text, state.answer.finalUrl);
    } catch (const hastool::ToolError& error) {
        state.trouble = error.what();
    }
}

/// What a check has of the playlists.
hastool::Evidence evidenceOf(const std::vector<std::string>& texts) {
    hastool::Evidence evidence;
    hastool::CheckedPlaylist manifest;
    read(manifest, texts[0], 0);
    evidence.documents.push_back(manifest);
    evidence.hasMaster = manifest.playlist.isMaster();
    evidence.master = manifest.playlist;
    evidence.renditions.resize(2);
    double time = 0;
    for (size_t i = 1; i < texts.size(); ++i) {
        auto& playlists = evidence.renditions[i % 4 == 3 ? 1 : 0].playlists;
        playlists.emplace_back();
        read(playlists.back(), texts[i], time += 2);
    }
    for (hastool::CheckedRendition& it : evidence.renditions) {
        it.name = "rendition";
        it.kind = hastool::CheckedRendition::Kind::Video;
    }
    return evidence;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkLines(hastool::HlsLines(text));
    hastool::Evidence evidence = evidenceOf(divided(text));
    hastool::readPlaylistLines(evidence);
    const hastool::Findings findings = hastool::judge(evidence);
    for (const hastool::Finding& it : findings.all()) {
        require(it.rule != nullptr && !it.text.empty());
        require(it.text.find('\n') == std::string::npos);
    }
    return 0;
}
