// HLS playlists: one that is accepted has what the parser promises, and is walked to its end.
#include <hastool/base/ToolError.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/formats/hls/HlsPresentation.h>
#include <hastool/net/AesKey.h>

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

void checkKey(const hastool::HlsKey& key) {
    require(!key.method.empty() && key.method != "NONE" && !key.format.empty());
    require(key.method != "AES-128" || !key.uri.empty());
    require(key.method != "AES-128" || key.iv.empty() || hastool::parseIvAttribute(key.iv));
}

void checkParts(const hastool::HlsSegment& segment) {
    const hastool::HlsPart* before = nullptr;
    for (const hastool::HlsPart& part : segment.parts) {
        require(!part.uri.empty() && std::isfinite(part.seconds) && part.seconds > 0);
        if (before != nullptr && before->uri == part.uri)
            require(part.range &&
                    (!before->range ||
                     part.range->first >= before->range->first + *before->range->length));
        before = &part;
    }
}

void checkSegments(const hastool::HlsPlaylist& playlist) {
    require(playlist.segments.size() <= hastool::kMaxSegments);
    uint64_t sequence = playlist.mediaSequence;
    for (const hastool::HlsSegment& segment : playlist.segments) {
        require(segment.sequence == sequence++);
        require(!segment.uri.empty());
        require(std::isfinite(segment.seconds) && segment.seconds >= 0);
        require(segment.seconds <= hastool::kMaxSegmentSeconds);
        require(!segment.map || !segment.map->uri.empty());
        checkParts(segment);
        if (segment.key)
            checkKey(*segment.key);
        if (segment.map && segment.map->key)
            checkKey(*segment.map->key);
    }
}

void checkVariants(const hastool::HlsPlaylist& playlist) {
    require(playlist.variants.size() <= hastool::kMaxVariants);
    for (const hastool::HlsVariant& variant : playlist.variants) {
        require(!variant.uri.empty());
        require(variant.bandwidth > 0);
    }
}

constexpr char kUrl[] = "http://host/list?name=value";
constexpr char kOther[] = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-DEFINE:IMPORT=\"v\"\n"
                          "#EXTINF:2,\n{$v}\n#EXT-X-ENDLIST\n";
constexpr size_t kMaxPieces = hastool::kMaxSegments + hastool::kMaxParts + 1;

/// Takes every piece of a stream. A live playlist gets no new segments.
void walk(const std::string& text, size_t track, size_t stream) {
    const auto fetch = [&](const hastool::Resource& resource) {
        if (resource.isHeld)
            throw hastool::ToolError(resource.url, "refused");
        return hastool::Document{resource.url == kUrl ? text : kOther, resource.url};
    };
    hastool::TimeSource time;
    time.steady = [] { return hastool::TimeSource::Steady::time_point(); };
    hastool::HlsPresentation presentation({text, kUrl}, fetch, std::chrono::milliseconds(0), time);
    const auto& tracks = presentation.tracks();
    require(!tracks.empty() && !tracks[0].streams.empty());
    if (track >= tracks.size() || stream >= tracks[track].streams.size())
        return;
    uint64_t index = 0;
    for (size_t i = 0;; ++i) {
        const bool isInside = presentation.isInside(track);
        const auto next = presentation.next(track, stream);
        if (next.kind != hastool::NextPiece::Kind::Piece)
            return;
        require(i < kMaxPieces);
        require(i == 0 || next.piece.index == index + 1 || (isInside && next.piece.index == index));
        index = next.piece.index;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const hastool::HlsPlaylist playlist = hastool::parseHlsPlaylist(text, kUrl);
        // A live stream may have begun without a segment yet.
        require(playlist.isMaster() || !playlist.segments.empty() || playlist.targetSeconds > 0);
        checkSegments(playlist);
        checkVariants(playlist);
        walk(text, 0, 0);
        walk(text, 0, 1);
        walk(text, 1, 0);
    } catch (const hastool::ToolError& error) {
        const std::string message = error.what();
        require(message.find("http://host/") != std::string::npos);
        require(message.find('\n') == std::string::npos);
    }
    return 0;
}
