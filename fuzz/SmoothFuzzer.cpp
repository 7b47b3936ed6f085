// Smooth Streaming manifests: one that is accepted gives initialisations and is walked to its end;
// for one that is refused the message is one line. The rules of checks look at any document.
#include "JudgedManifest.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/smooth/SmoothInit.h>
#include <hastool/formats/smooth/SmoothManifest.h>
#include <hastool/formats/smooth/SmoothPresentation.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
    if (!condition)
        abort();
}

/// Checks that an initialisation is empty, or boxes from the first byte to the last.
void checkInit(std::string_view init) {
    while (!init.empty())
        require(hastool::takeBox(init).has_value());
}

void checkStream(const hastool::SmoothStream& stream) {
    require(!stream.qualities.empty() && stream.timescale > 0);
    int bitrate = 0;
    for (const hastool::SmoothQuality& quality : stream.qualities) {
        require(quality.bitrate >= bitrate);
        bitrate = quality.bitrate;
        checkInit(hastool::makeSmoothInit(stream, quality, 1));
    }
    require(stream.chunks.size() <= hastool::kMaxSmoothChunks);
}

/// Takes every chunk of a stream. A live manifest gets no new chunks. Chunks without any duration
/// may be passed over, so there may be fewer than the manifest lists, but never more.
void walk(const std::string& text, size_t track) {
    constexpr char kUrl[] = "http://host/Manifest";
    const auto fetch = [](const hastool::Resource& resource) -> hastool::Document {
        throw hastool::ToolError(resource.url, "not there");
    };
    hastool::TimeSource time;
    time.steady = [] { return hastool::TimeSource::Steady::time_point(); };
    hastool::SmoothPresentation presentation({text, kUrl}, fetch, std::chrono::milliseconds(0),
                                             time);
    if (track >= presentation.tracks().size())
        return;
    double end = -HUGE_VAL;
    for (size_t i = 0;; ++i) {
        const auto next = presentation.next(track, 0);
        if (next.kind != hastool::NextPiece::Kind::Piece)
            return;
        require(i < hastool::kMaxSmoothChunks);
        require(next.piece.start + next.piece.seconds >= end);
        end = next.piece.start + next.piece.seconds;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    require(hastool::trackOfFragment(text) <= UINT32_MAX);
    judgeManifest(hastool::CheckedFormat::Smooth, text, "http://host/Manifest");
    try {
        const auto manifest = hastool::parseSmoothManifest(text, "http://host/Manifest");
        require(!manifest.streams.empty());
        for (const hastool::SmoothStream& stream : manifest.streams) {
            checkStream(stream);
            hastool::expandSmoothTemplate(stream.url, stream.qualities.front(), 0, "url");
        }
        walk(text, 0);
        walk(text, 1);
    } catch (const hastool::ToolError& error) {
        require(std::string(error.what()).find('\n') == std::string::npos);
    }
    return 0;
}
