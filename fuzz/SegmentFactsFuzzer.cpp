// Segments and initialisations as a check reads them: whatever the bytes, sums fit, and the same
// bytes are read the same way.
#include <Input.h>
#include <hastool/media/SegmentFacts.h>
#include <tools/hastool/FragmentBuilder.h>

#include <cmath>
#include <string>
#include <string_view>

using fuzz::require;
using hastool::SegmentFacts;

namespace {

void checkStreams(const SegmentFacts& facts) {
    for (const hastool::StreamFacts& it : facts.streams) {
        require(std::isfinite(it.seconds) && it.seconds >= 0);
        require(std::isfinite(it.frameSeconds) && it.frameSeconds >= 0);
        require(!it.start || std::isfinite(*it.start));
        require(!it.decodeStart || std::isfinite(*it.decodeStart));
        require(it.width >= 0 && it.height >= 0);
    }
}

void checkPackets(const SegmentFacts& facts) {
    uint64_t packets = facts.transport.damaged + facts.transport.nulls;
    for (const auto& [pid, it] : facts.transport.pids) {
        require(it.continuityErrors <= it.packets && it.scrambled <= it.packets);
        require(it.timestamps <= it.packets && it.decodeDisorders <= it.timestamps);
        packets += it.packets;
    }
    require(packets <= facts.transport.packets);
    require(facts.transport.packets <= facts.bytes / 188);
    require(facts.transport.strayBytes <= facts.bytes);
    require(facts.transport.clock.longest >= 0);
}

void checkBoxes(const SegmentFacts& facts) {
    require(facts.boxes.fragments <= facts.bytes / 8);
    for (const auto& [id, it] : facts.boxes.tracks)
        require(it.breaks < it.fragments && it.isInInit == (it.timescale > 0));
}

void checkSegment(std::string_view init, std::string_view media) {
    const SegmentFacts facts = hastool::readSegmentFacts(init, media);
    require(facts.bytes == media.size());
    checkStreams(facts);
    checkPackets(facts);
    checkBoxes(facts);
    const SegmentFacts again = hastool::readSegmentFacts(init, media);
    require(again.kind == facts.kind && again.streams.size() == facts.streams.size());
    require(again.boxes.broken == facts.boxes.broken);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string init = test::videoInit();
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const hastool::InitFacts facts = hastool::readInitFacts(bytes);
    for (const hastool::InitTrackFacts& it : facts.tracks) {
        require(it.lengthSize <= 4 && it.editStart >= 0 && std::isfinite(it.editStart));
        require(it.keyId.empty() || it.keyId.size() == 32);
    }
    checkSegment(init, bytes);
    checkSegment("", bytes);
    checkSegment(bytes, test::fragment());
    return 0;
}
