// Fragments of MP4: chunks are found wherever the bytes are cut, and cutting loses none of them.
#include <tools/hastool/LiveFolder.h>

#include <hastool/media/FragmentChunks.h>
#include <hastool/media/FragmentShift.h>
#include <hastool/play/ChunkSink.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
    if (!condition)
        abort();
}

hastool::ChunkSink::Arrived arrivedOf(const std::string& bytes, size_t step,
                                      const hastool::InitTracks& tracks) {
    hastool::MemorySink target(bytes.size());
    hastool::ChunkSink sink(target, tracks, [] {});
    for (size_t at = 0; at < bytes.size(); at += step) {
        const size_t size = std::min(step, bytes.size() - at);
        require(sink.write(reinterpret_cast<const unsigned char*>(bytes.data() + at), size));
        require(sink.arrived().bytes <= at + size);
    }
    require(target.bytes() == bytes);
    return sink.arrived();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const hastool::InitTracks tracks = hastool::readInitTracks(test::liveInit());
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    hastool::readInitTracks(bytes);
    const auto whole = arrivedOf(bytes, bytes.size() + 1, tracks);
    const auto pieces = arrivedOf(bytes, 7, tracks);
    require(whole.bytes == pieces.bytes);
    require(whole.seconds >= 0 && whole.seconds == pieces.seconds);
    const auto chunks = hastool::cutFragments(bytes, tracks, 0.5);
    require(!chunks.empty());
    for (const auto& chunk : chunks)
        require(chunk.seconds >= 0);
    std::string shifted = bytes;
    hastool::shiftFragments(shifted, tracks, 6, 2);
    require(shifted.size() == bytes.size());
    return 0;
}
