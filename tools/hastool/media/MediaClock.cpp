#include "MediaClock.h"

#include "PacketFinder.h"
#include "WebVtt.h"
#include <hastool/base/BoxView.h>

#include <algorithm>
#include <map>

namespace hastool {
namespace {

constexpr size_t kSearched = 2u << 20; // of a transport stream: its streams begin before

std::optional<std::string_view> childOf(std::string_view bytes, std::string_view type) {
    const auto box = findBox(bytes, type);
    return box ? std::optional(box->content) : std::nullopt;
}

/// The PTS of a PES packet of audio or video.
std::optional<int64_t> timestampOf(const TsUnit& unit) {
    const unsigned char* const data = unit.payload();
    constexpr size_t kHeader = 14; // with a PTS
    if (!unit.isUnitStart() || unit.scrambling() != 0 || unit.payloadSize() < kHeader)
        return std::nullopt;
    const bool isMedia = (data[3] & 0xE0) == 0xC0 || (data[3] & 0xF0) == 0xE0 || data[3] == 0xBD;
    if (data[0] != 0 || data[1] != 0 || data[2] != 1 || !isMedia || (data[7] & 0x80) == 0)
        return std::nullopt;
    return int64_t{data[9] & 0x0E} << 29 | int64_t{data[10]} << 22 |
           int64_t{data[11] & 0xFE} << 14 | int64_t{data[12]} << 7 | int64_t{data[13]} >> 1;
}

std::optional<int64_t> firstInTransportStream(const std::string& media) {
    std::map<int, int64_t> first; // by PID
    PacketFinder finder([&](const TsUnit& unit) {
        const auto time = timestampOf(unit);
        if (time)
            first.emplace(unit.pid(), *time);
    });
    finder.push(reinterpret_cast<const unsigned char*>(media.data()),
                std::min(media.size(), kSearched));
    finder.finish();
    std::optional<int64_t> earliest;
    for (const auto& [pid, time] : first)
        earliest = std::min(earliest.value_or(time), time);
    return earliest;
}

/// The time scales of the tracks, by their ids.
std::map<uint64_t, uint64_t> timescalesIn(std::string_view init) {
    std::map<uint64_t, uint64_t> scales;
    std::string_view rest = childOf(init, "moov").value_or("");
    while (const auto box = takeBox(rest)) {
        if (box->type != "trak")
            continue;
        const auto number = [](std::string_view content) {
            ByteReader reader(content);
            const bool isLong = reader.number(1) == uint64_t{1};
            return reader.skip(3 + (isLong ? 16 : 8)) ? reader.number(4).value_or(0) : 0;
        };
        const uint64_t id = number(childOf(box->content, "tkhd").value_or(""));
        const auto media = childOf(box->content, "mdia");
        scales[id] = number(childOf(media.value_or(""), "mdhd").value_or(""));
    }
    return scales;
}

std::optional<int64_t> firstInFragments(std::string_view init, std::string_view media) {
    const auto scales = timescalesIn(init);
    std::optional<int64_t> earliest;
    std::string_view rest = childOf(media, "moof").value_or("");
    while (const auto box = takeBox(rest)) {
        if (box->type != "traf")
            continue;
        ByteReader header(childOf(box->content, "tfhd").value_or(""));
        header.skip(4);
        const auto scale = scales.find(header.number(4).value_or(0));
        ByteReader time(childOf(box->content, "tfdt").value_or(""));
        const bool isLong = time.number(1) == uint64_t{1};
        time.skip(3);
        const auto begin = time.number(isLong ? 8 : 4);
        if (!begin || scale == scales.end() || scale->second == 0)
            continue;
        const double ticks = static_cast<double>(*begin) / static_cast<double>(scale->second) *
                             static_cast<double>(kCueClock);
        if (ticks < 1e17)
            earliest = std::min(earliest.value_or(INT64_MAX), static_cast<int64_t>(ticks));
    }
    return earliest;
}

} // namespace

std::optional<int64_t> firstTimestamp(std::string_view init, const std::string& media) {
    return init.empty() ? firstInTransportStream(media) : firstInFragments(init, media);
}

} // namespace hastool
