#include "CodecText.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <cstdio>
#include <optional>

namespace hastool {
namespace {

constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                          22050, 16000, 12000, 11025, 8000,  7350};

std::string hexNumber(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string twoDigits(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "%02llu", static_cast<unsigned long long>(value));
    return text;
}

uint32_t reversed(uint32_t value) {
    uint32_t result = 0;
    for (int i = 0; i < 32; ++i)
        result |= (value >> i & 1U) << (31 - i);
    return result;
}

/// Takes a descriptor with a tag off the front. @return its content
std::optional<std::string_view> takeDescriptor(ByteReader& reader, unsigned tag) {
    constexpr int kMostLengthBytes = 4;
    if (reader.number(1) != uint64_t{tag})
        return std::nullopt;
    uint64_t size = 0;
    for (int i = 0; i < kMostLengthBytes; ++i) {
        const auto byte = reader.number(1);
        if (!byte)
            return std::nullopt;
        size = size << 7 | (*byte & 0x7F);
        if (*byte < 0x80)
            break;
    }
    return reader.bytes(static_cast<size_t>(size));
}

/// Reads bits; behind the end it reads zeros.
class Bits {
public:
    explicit Bits(std::string_view bytes)
        : m_bytes(bytes) {}

    unsigned take(unsigned count) {
        unsigned value = 0;
        for (; count > 0; --count, ++m_at) {
            const size_t byte = m_at / 8;
            const unsigned bits =
                byte < m_bytes.size() ? static_cast<unsigned char>(m_bytes[byte]) : 0;
            value = value << 1 | (bits >> (7 - m_at % 8) & 1U);
        }
        return value;
    }

private:
    std::string_view m_bytes;
    size_t m_at = 0;
};

void readAudioConfig(std::string_view config, Mpeg4Audio& audio) {
    constexpr unsigned kEscape = 31;
    constexpr unsigned kExplicitRate = 15;
    Bits bits(config);
    unsigned type = bits.take(5);
    if (type == kEscape)
        type = 32 + bits.take(6);
    const unsigned rate = bits.take(4);
    if (rate == kExplicitRate)
        audio.sampleRate = static_cast<int>(bits.take(24));
    else if (rate < std::size(kRates))
        audio.sampleRate = kRates[rate];
    const unsigned channels = bits.take(4);
    audio.channels = channels == 7 ? 8 : channels < 7 ? static_cast<int>(channels) : 0;
    audio.codec += "." + std::to_string(type);
}

} // namespace

std::string hevcCodec(std::string_view entry, std::string_view hvcC) {
    ByteReader reader(hvcC);
    constexpr const char* kSpaces[] = {"", "A", "B", "C"};
    const auto version = reader.number(1);
    const auto profile = reader.number(1);
    const auto compatibility = reader.number(4);
    const auto constraints = reader.bytes(6);
    const auto level = reader.number(1);
    if (!version || !profile || !compatibility || !constraints || !level)
        return {};
    std::string text = std::string(entry) + "." + kSpaces[*profile >> 6] +
                       std::to_string(*profile & 0x1F) + "." +
                       hexNumber(reversed(static_cast<uint32_t>(*compatibility))) + "." +
                       ((*profile & 0x20) != 0 ? "H" : "L") + std::to_string(*level);
    const size_t last = constraints->find_last_not_of('\0');
    const size_t used = last == std::string_view::npos ? 0 : last + 1;
    for (const char byte : constraints->substr(0, used))
        text += "." + hexNumber(static_cast<unsigned char>(byte));
    return text;
}

std::string av1Codec(std::string_view av1C) {
    if (av1C.size() < 3)
        return {};
    const auto second = static_cast<unsigned char>(av1C[1]);
    const auto third = static_cast<unsigned char>(av1C[2]);
    const unsigned profile = second >> 5;
    const bool isHigh = (third & 0x40) != 0;
    const bool isTwelve = (third & 0x20) != 0;
    const char* const depth = !isHigh ? "08" : profile == 2 && isTwelve ? "12" : "10";
    return "av01." + std::to_string(profile) + "." + twoDigits(second & 0x1F) +
           ((third & 0x80) != 0 ? "H" : "M") + "." + depth;
}

std::string vp9Codec(std::string_view vpcC) {
    ByteReader reader(vpcC);
    const bool hasVersion = reader.skip(4);
    const auto profile = reader.number(1);
    const auto level = reader.number(1);
    const auto depth = reader.number(1);
    if (!hasVersion || !profile || !level || !depth)
        return {};
    return "vp09." + twoDigits(*profile) + "." + twoDigits(*level) + "." + twoDigits(*depth >> 4);
}

Mpeg4Audio readMpeg4Audio(std::string_view esds) {
    constexpr unsigned kMpeg4 = 0x40;
    Mpeg4Audio audio;
    ByteReader box(esds);
    const auto stream = box.skip(4) ? takeDescriptor(box, 3) : std::nullopt;
    if (!stream)
        return audio;
    ByteReader reader(*stream);
    reader.skip(2);
    const uint64_t flags = reader.number(1).value_or(0);
    if ((flags & 0x80) != 0)
        reader.skip(2);
    if ((flags & 0x40) != 0)
        reader.skip(static_cast<size_t>(reader.number(1).value_or(0)));
    if ((flags & 0x20) != 0)
        reader.skip(2);
    const auto decoder = takeDescriptor(reader, 4);
    ByteReader config(decoder.value_or(""));
    const auto type = config.number(1);
    if (!type)
        return audio;
    audio.codec = "mp4a." + hexNumber(*type);
    if (*type != kMpeg4 || !config.skip(12))
        return audio;
    if (const auto special = takeDescriptor(config, 5))
        readAudioConfig(*special, audio);
    return audio;
}

} // namespace hastool
