#include "AvcConfigs.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <array>

namespace hastool {
namespace {

constexpr size_t kHeader = 8;
constexpr size_t kLongHeader = 16;
constexpr size_t kVisualSampleEntry = 78; // fields of a picture track's entry before its boxes
constexpr size_t kEntryTable = 8;         // version, flags and entry count

template<size_t N>
bool isOneOf(std::string_view type, const std::array<std::string_view, N>& types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

/// The boxes on the way from a file to its sample entries, each inside the one before.
constexpr std::array<std::string_view, 6> kPath = {"moov", "trak", "mdia", "minf", "stbl", "stsd"};
constexpr std::array<std::string_view, 5> kEntries = {"avc1", "avc2", "avc3", "avc4", "encv"};

bool leadsOn(std::string_view parent, std::string_view type) {
    const auto at = std::find(kPath.begin(), kPath.end(), type);
    return at != kPath.end() && parent == (at == kPath.begin() ? "" : *(at - 1));
}

} // namespace

void AvcConfigs::push(const unsigned char* data, size_t size) {
    while (size > 0) {
        if (m_left == 0) {
            m_box += static_cast<char>(*data++);
            --size;
            begin();
            continue;
        }
        const auto taken = static_cast<size_t>(std::min<uint64_t>(m_left, size));
        if (m_isMovie)
            m_box.append(reinterpret_cast<const char*>(data), taken);
        m_left -= taken;
        data += taken;
        size -= taken;
        if (m_left > 0)
            continue;
        if (m_isMovie)
            search(m_box, "");
        m_isMovie = false;
        m_box.clear();
    }
}

/// Begins a box when its header is complete.
void AvcConfigs::begin() {
    ByteReader reader(m_box);
    auto size = reader.number(4);
    const auto type = reader.bytes(4);
    const bool isLong = size == uint64_t{1};
    if (!type || m_box.size() < (isLong ? kLongHeader : kHeader))
        return;
    if (isLong)
        size = reader.number(8);
    const bool isToEnd = *size == 0;
    m_isMovie = *type == "moov" && *size <= kMaxMovie && !isToEnd;
    m_left = isToEnd ? UINT64_MAX : *size - std::min<uint64_t>(*size, m_box.size());
    if (!m_isMovie || m_left == 0)
        m_box.clear();
}

void AvcConfigs::search(std::string_view boxes, std::string_view parent) {
    while (const auto box = takeBox(boxes)) {
        if (leadsOn(parent, box->type))
            search(box->content.substr(
                       box->type == "stsd" ? std::min(kEntryTable, box->content.size()) : 0),
                   box->type);
        else if (parent == "stsd" && isOneOf(box->type, kEntries) &&
                 box->content.size() > kVisualSampleEntry)
            search(box->content.substr(kVisualSampleEntry), "entry");
        else if (parent == "entry" && box->type == "avcC")
            take(box->content);
    }
}

void AvcConfigs::take(std::string_view configuration) {
    ByteReader reader(configuration);
    reader.skip(5); // version, profile, level and the size of lengths
    const uint64_t count = reader.number(1).value_or(0) & 0x1F;
    for (uint64_t i = 0; i < count; ++i) {
        const auto unit = reader.bytes(static_cast<size_t>(reader.number(2).value_or(0)));
        if (!unit)
            return;
        m_sink({unit->begin(), unit->end()});
    }
}

} // namespace hastool
