#include "AudioChannels.h"

#include <hastool/base/Number.h>
#include <hastool/base/XmlDocument.h>

#include <charconv>
#include <cstddef>

namespace hastool {
namespace {

/// By the index of a channel configuration.
int channelsOfIndex(uint64_t index) {
    constexpr int kChannels[] = {0, 1, 2,  3, 4,  5,  6,  8,  2,  3, 4,
                                 7, 8, 24, 8, 12, 10, 12, 14, 12, 14};
    constexpr size_t kCount = sizeof kChannels / sizeof *kChannels;
    return index < kCount ? kChannels[static_cast<size_t>(index)] : 0;
}

/// Bits of places, the first of them the highest of sixteen; some stand for two loudspeakers.
int channelsOfBits(const std::string& value) {
    constexpr unsigned kPairs = 0x0674; // the 6th, 7th, 10th, 11th, 12th and 14th place
    unsigned bits = 0;
    const char* const end = value.data() + value.size();
    const auto result = std::from_chars(value.data(), end, bits, 16);
    if (result.ec != std::errc() || result.ptr != end || bits > 0xFFFF)
        return 0;
    int channels = 0;
    for (unsigned place = 1; place != 0x10000; place <<= 1)
        channels += (bits & place) == 0 ? 0 : (kPairs & place) == 0 ? 1 : 2;
    return channels;
}

} // namespace

int audioChannels(const std::string& scheme, const std::string& value) {
    constexpr uint64_t kMost = 128;
    const std::string kind = lowered(scheme);
    const auto is = [&](const char* part) { return kind.find(part) != std::string::npos; };
    if (is("dolby") && is("audio_channel_configuration:2011"))
        return channelsOfBits(value);
    const uint64_t number = parseUnsigned(value).value_or(0);
    if (is(":cicp:"))
        return channelsOfIndex(number);
    const bool isNumber = is(":23003:3:") || is("dts.com");
    return isNumber && number <= kMost ? static_cast<int>(number) : 0;
}

} // namespace hastool
