// HLS playlists: what is accepted keeps the parser's own promises.
#include <hastool/engine/AesKey.h>
#include <hastool/engine/HlsPlaylist.h>
#include <hastool/engine/ToolError.h>

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

void checkSegments(const hastool::HlsPlaylist& playlist) {
    require(playlist.segments.size() <= hastool::kMaxSegments);
    uint64_t sequence = playlist.mediaSequence;
    for (const hastool::HlsSegment& segment : playlist.segments) {
        require(segment.sequence == sequence++);
        require(!segment.uri.empty());
        require(std::isfinite(segment.seconds) && segment.seconds >= 0);
        require(segment.seconds <= hastool::kMaxSegmentSeconds);
        require(!segment.map || !segment.map->uri.empty());
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const hastool::HlsPlaylist playlist = hastool::parseHlsPlaylist(text, "http://host/list");
        // A live stream may have begun without a segment yet.
        require(playlist.isMaster() || !playlist.segments.empty() || playlist.targetSeconds > 0);
        checkSegments(playlist);
        checkVariants(playlist);
    } catch (const hastool::ToolError& error) {
        const std::string message = error.what();
        require(message.find("http://host/list") != std::string::npos);
        require(message.find('\n') == std::string::npos);
    }
    return 0;
}
