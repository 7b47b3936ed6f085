// Subtitles: WebVTT, alone and in MP4, and TTML. What is joined can be read again, and says the
// same. The input is a byte that says what it is, and then segments, each behind its size in two
// bytes.
#include "Input.h"

#include <hastool/media/CueJoiner.h>
#include <hastool/media/MediaClock.h>
#include <hastool/media/TtmlJoiner.h>
#include <hastool/media/WvttReader.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using fuzz::require;
using hastool::CueJoiner;
using hastool::VttDocument;

std::string joinedText(const CueJoiner& joiner) {
    return joiner.text([](size_t stretch) { return static_cast<int64_t>(stretch) * 1000; });
}

void checkCues(const VttDocument& document) {
    require(document.blocks.size() <= hastool::kMaxVttBlocks);
    for (const hastool::VttCue& cue : document.cues) {
        require(cue.end > cue.start);
        require(cue.id.size() + cue.settings.size() + cue.text.size() <= hastool::kMaxCueBytes);
        for (const std::string* const text : {&cue.id, &cue.settings, &cue.text})
            require(text->find("-->") == std::string::npos);
        require(cue.text.find("\n\n") == std::string::npos);
    }
}

/// What was joined is a document, and joining it again changes nothing.
void checkJoined(const CueJoiner& joiner) {
    const std::string text = joinedText(joiner);
    const auto again = hastool::parseWebVtt(text);
    require(again.has_value());
    require(again->dropped == 0);
    require(again->cues.size() <= joiner.cues());
    int64_t last = 0;
    for (const hastool::VttCue& cue : again->cues) {
        require(cue.start >= last);
        last = cue.start;
    }
    CueJoiner second;
    second.add(*again, {});
    const auto third = hastool::parseWebVtt(joinedText(second));
    require(third && third->cues.size() <= again->cues.size());
}

void joinDocuments(const std::vector<std::string>& segments) {
    CueJoiner joiner;
    size_t number = 0;
    for (const std::string& segment : segments) {
        const auto document = hastool::parseWebVtt(segment);
        if (!document)
            continue;
        checkCues(*document);
        joiner.add(*document, {number % 2 == 0, number / 3, document->clockOffset, false});
        ++number;
    }
    checkJoined(joiner);
}

void readFragments(const std::vector<std::string>& segments) {
    if (segments.empty())
        return;
    const auto reader = hastool::WvttReader::open(segments.front());
    CueJoiner joiner;
    for (const std::string& segment : segments) {
        hastool::firstTimestamp(segments.front(), segment);
        hastool::firstTimestamp("", segment);
        const auto document = reader ? reader->read(segment) : std::nullopt;
        if (!document)
            continue;
        checkCues(*document);
        joiner.add(*document, {true, 0, 0, true});
    }
    checkJoined(joiner);
}

void joinTtml(const std::vector<std::string>& segments) {
    hastool::TtmlJoiner joiner;
    size_t total = 0;
    for (const std::string& segment : segments) {
        joiner.add(segment);
        total += segment.size();
    }
    require(joiner.text().size() <= total);
    require(joiner.leftOut() <= segments.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    if (rest.empty())
        return 0;
    const auto kind = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    std::vector<std::string> segments;
    while (rest.size() >= 2) {
        const size_t length =
            static_cast<unsigned char>(rest[0]) * 256u + static_cast<unsigned char>(rest[1]);
        segments.emplace_back(rest.substr(2, length));
        rest.remove_prefix(std::min(rest.size(), length + 2));
    }
    if (kind % 3 == 0)
        joinDocuments(segments);
    else if (kind % 3 == 1)
        readFragments(segments);
    else
        joinTtml(segments);
    return 0;
}
