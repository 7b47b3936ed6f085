// Cue messages and the events of segments: whatever the bytes, what is told has finite times and
// text for people.
#include <Input.h>
#include <hastool/formats/SpliceCue.h>
#include <hastool/media/EventMessages.h>

#include <hastool/base/SectionChecksum.h>

#include <cmath>
#include <string>
#include <vector>

using fuzz::require;
using hastool::TimedEvent;

namespace {

/// The same bytes with the length and the checksum that they should have: few inputs have these.
std::string made(std::string section) {
    constexpr size_t kHead = 3;
    if (section.size() < kHead || section.size() > 4000)
        return section;
    const size_t length = section.size() - kHead + 4;
    section[0] = '\xFC';
    section[1] = static_cast<char>(0x30 | length >> 8);
    section[2] = static_cast<char>(length);
    const uint32_t checksum = hastool::sectionChecksum(
        reinterpret_cast<const unsigned char*>(section.data()), section.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        section += static_cast<char>(checksum >> shift);
    return section;
}

void checkCue(const std::string& section) {
    const auto cue = hastool::parseSpliceSection(section);
    if (!cue)
        return;
    require(!cue->text.empty());
    require(!cue->seconds || (std::isfinite(*cue->seconds) && *cue->seconds >= 0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkCue(bytes);
    checkCue(made(bytes));
    const size_t half = size / 2;
    for (const TimedEvent& event : hastool::eventMessages(bytes, bytes.substr(half), 10)) {
        require(std::isfinite(event.start));
        require(!event.end || *event.end >= event.start);
    }
    for (const TimedEvent& event : hastool::eventMessages(bytes.substr(0, half), bytes, 10))
        require(std::isfinite(event.start));
    return 0;
}
