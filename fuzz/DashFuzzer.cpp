// DASH manifests: from the text to the pieces of every track; what is accepted can be played in
// order, and what is not is one line.
#include <hastool/engine/DashPresentation.h>
#include <hastool/engine/ToolError.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr char kUrl[] = "http://host/m.mpd";
constexpr int kMaxPieces = 50;

void require(bool condition) {
    if (!condition)
        abort();
}

/// Nothing else can be had.
hastool::Document refuse(const hastool::Resource& resource) {
    throw hastool::ToolError(resource.url, "not there");
}

void play(hastool::DashPresentation& presentation, size_t track) {
    const size_t streams = presentation.tracks()[track].streams.size();
    require(streams > 0);
    double start = -HUGE_VAL;
    for (int i = 0; i < kMaxPieces; ++i) {
        const auto next = presentation.next(track, static_cast<size_t>(i) % streams);
        if (next.kind != hastool::NextPiece::Kind::Piece)
            return;
        require(next.piece.media.resource.url.rfind("http", 0) == 0);
        require(std::isfinite(next.piece.start) && std::isfinite(next.piece.seconds));
        require(next.piece.seconds >= 0);
        // Streams may be cut differently; within one, time goes on.
        require(streams > 1 || next.piece.start >= start);
        start = next.piece.start;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        hastool::DashPresentation presentation({text, kUrl}, refuse, std::chrono::milliseconds(0));
        require(!presentation.tracks().empty());
        for (size_t track = 0; track < presentation.tracks().size(); ++track)
            play(presentation, track);
    } catch (const hastool::ToolError& error) {
        require(std::string(error.what()).find('\n') == std::string::npos);
    }
    return 0;
}
