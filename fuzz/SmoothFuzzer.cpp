// Smooth Streaming manifests: what is accepted has chunks in order and makes initialisations, and
// what is not is one line.
#include <hastool/engine/BoxView.h>
#include <hastool/engine/SmoothInit.h>
#include <hastool/engine/SmoothManifest.h>
#include <hastool/engine/ToolError.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
    if (!condition)
        abort();
}

/// Empty, or boxes from the first byte to the last.
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    require(hastool::trackOfFragment(text) <= UINT32_MAX);
    try {
        const auto manifest = hastool::parseSmoothManifest(text, "http://host/Manifest");
        require(!manifest.streams.empty());
        for (const hastool::SmoothStream& stream : manifest.streams) {
            checkStream(stream);
            hastool::expandSmoothTemplate(stream.url, stream.qualities.front(), 0, "url");
        }
    } catch (const hastool::ToolError& error) {
        require(std::string(error.what()).find('\n') == std::string::npos);
    }
    return 0;
}
