// DASH manifests: a manifest that is accepted can be played to the end of every track, in order and
// every piece once; for one that is refused the message is one line. The rules of checks look at
// any document, two states of it also.
#include "JudgedManifest.h"

#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/DashPresentation.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr char kUrl[] = "http://host/m.mpd";
constexpr int kMaxPieces = 2000; // a run may stand for more segments than can be walked
constexpr double kNow = 1.7e9;

void require(bool condition) {
    if (!condition)
        abort();
}

/// Refuses every document beside the manifest.
hastool::Document refuse(const hastool::Resource& resource) {
    throw hastool::ToolError(resource.url, "not there");
}

/// Clocks that always show the same moment.
hastool::TimeSource standingStill() {
    hastool::TimeSource time;
    time.wall = [] { return kNow; };
    time.steady = [] { return hastool::TimeSource::Steady::time_point(); };
    return time;
}

void checkPiece(const hastool::MediaPiece& piece) {
    require(piece.media.resource.url.rfind("http", 0) == 0);
    require(std::isfinite(piece.start) && std::isfinite(piece.seconds));
    require(piece.seconds >= 0);
}

/// Takes all pieces of a track. @param step  0 to stay with the stream; else how far to the next
void walk(hastool::Presentation& presentation, size_t track, size_t stream, size_t step) {
    const size_t streams = presentation.tracks()[track].streams.size();
    require(streams > 0);
    hastool::MediaPiece last;
    for (int i = 0; i < kMaxPieces; ++i) {
        const auto next = presentation.next(track, stream);
        if (next.kind != hastool::NextPiece::Kind::Piece)
            return;
        checkPiece(next.piece);
        // Within one stream each piece lies behind the one before; streams may be cut differently.
        if (i > 0 && step == 0 && !next.piece.discontinuity)
            require(next.piece.index > last.index && next.piece.start >= last.start);
        last = next.piece;
        stream = (stream + step) % streams;
    }
}

/// Walks a presentation of its own, as each can be read only once.
/// @return whether there is such a stream
bool walkStream(const std::string& text, size_t track, size_t stream, size_t step) {
    hastool::DashPresentation presentation({text, kUrl}, refuse, std::chrono::milliseconds(0),
                                           standingStill());
    require(!presentation.tracks().empty());
    const auto& tracks = presentation.tracks();
    if (track >= tracks.size() || stream >= tracks[track].streams.size())
        return false;
    walk(presentation, track, stream, step);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    judgeManifest(hastool::CheckedFormat::Dash, text, kUrl);
    try {
        for (size_t track = 0; track < 2; ++track) {
            walkStream(text, track, 0, 0);
            walkStream(text, track, 1, 0);
            walkStream(text, track, 0, 1);
        }
    } catch (const hastool::ToolError& error) {
        require(std::string(error.what()).find('\n') == std::string::npos);
    }
    return 0;
}
