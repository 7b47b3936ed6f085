#include "TsChunks.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace hastool {
namespace {

constexpr size_t kPacket = 188;
constexpr double kClock = 90000; // ticks per second
constexpr uint64_t kWrap = uint64_t{1} << 33;
constexpr double kTolerance = 0.0005; // seconds
constexpr uint64_t kRandomAccess = 0x40;

/// Where a picture or a frame of audio begins.
struct Entry {
    size_t packet = 0; ///< offset of its packet
    uint64_t time = 0; ///< in ticks
    bool isPicture = false;
    bool isRandomAccess = false;
};

/// A time stamp of 33 bits in 5 bytes.
uint64_t stampOf(uint64_t bytes) {
    return (bytes >> 3 & 0x1C0000000) | (bytes >> 2 & 0x3FFF8000) | (bytes >> 1 & 0x7FFF);
}

std::optional<uint64_t> timeOf(ByteReader& pes) {
    pes.skip(3);
    const uint64_t flags = pes.number(1).value_or(0) >> 6;
    pes.skip(1);
    if ((flags & 2) == 0)
        return std::nullopt;
    const auto presented = pes.number(5);
    const auto decoded = flags == 3 ? pes.number(5) : presented;
    return decoded ? std::optional(stampOf(*decoded)) : std::nullopt;
}

/// The entry that a packet begins; nothing where it begins none.
std::optional<Entry> entryOf(std::string_view packet) {
    ByteReader reader(packet);
    const uint64_t header = reader.number(4).value_or(0);
    const bool begins = (header & 0x400000) != 0;
    const bool hasPayload = (header & 0x10) != 0;
    if (header >> 24 != 0x47 || !begins || !hasPayload)
        return std::nullopt;
    Entry entry;
    if ((header & 0x20) != 0) {
        ByteReader field(reader.rest());
        const size_t length = static_cast<size_t>(reader.number(1).value_or(0));
        field.skip(1);
        entry.isRandomAccess = length > 0 && (field.number(1).value_or(0) & kRandomAccess) != 0;
        if (!reader.skip(length))
            return std::nullopt;
    }
    const uint64_t start = reader.number(4).value_or(0);
    entry.isPicture = start >> 4 == 0x1E;
    if (!entry.isPicture && start >> 5 != 0xE)
        return std::nullopt;
    const auto time = timeOf(reader);
    if (!time)
        return std::nullopt;
    entry.time = *time;
    return entry;
}

std::vector<Entry> entriesOf(std::string_view segment) {
    std::vector<Entry> all;
    for (size_t at = 0; at + kPacket <= segment.size(); at += kPacket) {
        if (auto entry = entryOf(segment.substr(at, kPacket))) {
            entry->packet = at;
            all.push_back(*entry);
        }
    }
    const bool hasPictures =
        std::any_of(all.begin(), all.end(), [](const Entry& it) { return it.isPicture; });
    const auto end = std::remove_if(all.begin(), all.end(),
                                    [&](const Entry& it) { return it.isPicture != hasPictures; });
    all.erase(end, all.end());
    return all;
}

} // namespace

std::vector<MediaChunk> cutTransportStream(std::string_view segment, double seconds, double total) {
    std::vector<MediaChunk> chunks;
    size_t begin = 0;
    double time = 0;
    bool isIndependent = true; // a segment begins with a picture that needs no other
    double limit = seconds;
    const std::vector<Entry> entries = entriesOf(segment);
    for (const Entry& it : entries) {
        const double now = static_cast<double>((it.time - entries.front().time) % kWrap) / kClock;
        if (now < limit - kTolerance || now >= total - kTolerance)
            continue;
        chunks.push_back(
            {std::string(segment.substr(begin, it.packet - begin)), now - time, isIndependent});
        begin = it.packet;
        time = now;
        isIndependent = it.isPicture ? it.isRandomAccess : true;
        while (limit <= now + kTolerance)
            limit += seconds;
    }
    chunks.push_back({std::string(segment.substr(begin)), total - time, isIndependent});
    return chunks;
}

} // namespace hastool
