#include "KeyIds.h"

#include <hastool/base/Base64.h>
#include <hastool/base/BoxView.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kIdSize = 16;
constexpr size_t kMaxIds = 1000; // no presentation has so many keys at a time
constexpr std::string_view kWidevine = "edef8ba979d64acea3c827dcd51d21ed";
constexpr std::string_view kPlayReady = "9a04f07998404286ab92e65be0885f95";

std::string hexOf(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 0x0F];
    }
    return text;
}

std::string uuidOf(std::string_view bytes) {
    return uuidText(hexOf(bytes));
}

/// Microsoft's GUIDs have their first three fields in the other byte order.
std::string uuidOfGuid(std::string bytes) {
    std::swap(bytes[0], bytes[3]);
    std::swap(bytes[1], bytes[2]);
    std::swap(bytes[4], bytes[5]);
    std::swap(bytes[6], bytes[7]);
    return uuidOf(bytes);
}

std::optional<uint64_t> littleEndian(ByteReader& reader, size_t size) {
    const auto bytes = reader.bytes(size);
    if (!bytes)
        return std::nullopt;
    uint64_t value = 0;
    for (size_t i = size; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>((*bytes)[i]);
    return value;
}

/// UTF-16 as text in which all but ASCII is lost; what is looked for is ASCII.
std::string asciiOf(std::string_view utf16) {
    std::string text;
    for (size_t i = 0; i + 1 < utf16.size(); i += 2) {
        const bool isAscii = utf16[i + 1] == 0 && static_cast<unsigned char>(utf16[i]) < 0x80;
        text += isAscii ? utf16[i] : '?';
    }
    return text;
}

/// The ids in the elements KID, as their text (version 4.0) or in an attribute (from 4.1 on).
void collect(const hascommon::XmlElement& element, std::vector<std::string>& ids) {
    for (hascommon::XmlElement it = element.FirstChild(); it && ids.size() < kMaxIds;
         it = it.Next()) {
        if (it.Name() == "KID") {
            const std::string value = it.Attribute("VALUE");
            const auto bytes = fromBase64(withoutBlanks(value.empty() ? it.Text() : value));
            if (bytes && bytes->size() == kIdSize)
                ids.push_back(uuidOfGuid(*bytes));
        }
        collect(it, ids);
    }
}

std::vector<std::string> keyIdsOfHeader(std::string_view utf16) {
    std::vector<std::string> ids;
    try {
        XmlDocument document(asciiOf(utf16), "PlayReady header");
        collect(document.root(), ids);
    } catch (const ToolError&) {
        return {};
    }
    return ids;
}

/// The number of a protocol buffer's field or length; nothing when it is cut short.
std::optional<uint64_t> varint(ByteReader& reader) {
    uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
        const auto byte = reader.number(1);
        if (!byte)
            return std::nullopt;
        value |= (*byte & 0x7F) << shift;
        if (*byte < 0x80)
            return value;
    }
    return std::nullopt;
}

/// The ids in Widevine's data, a protocol buffer: its field 2, of 16 bytes each.
std::vector<std::string> keyIdsOfWidevine(std::string_view data) {
    constexpr uint64_t kKeyIdField = 2;
    enum Wire : uint64_t { kVarint = 0, kFixed64 = 1, kBytes = 2, kFixed32 = 5 };
    std::vector<std::string> ids;
    ByteReader reader(data);
    while (!reader.rest().empty() && ids.size() < kMaxIds) {
        const auto tag = varint(reader);
        const uint64_t wire = tag.value_or(7) & 7;
        if (wire == kVarint    ? !varint(reader)
            : wire == kFixed64 ? !reader.skip(8)
                               : wire == kFixed32 && !reader.skip(4))
            return ids;
        if (wire == kVarint || wire == kFixed64 || wire == kFixed32)
            continue;
        const auto size = wire == kBytes ? varint(reader) : std::nullopt;
        if (!size || *size > reader.rest().size())
            return ids;
        const auto bytes = reader.bytes(static_cast<size_t>(*size));
        if (*tag >> 3 == kKeyIdField && bytes->size() == kIdSize)
            ids.push_back(uuidOf(*bytes));
    }
    return ids;
}

} // namespace

std::string uuidText(const std::string& text) {
    constexpr size_t kHexDigits = 2 * kIdSize;
    std::string digits;
    const bool hasPrefix = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    for (const char letter : lowered(text.substr(hasPrefix ? 2 : 0))) {
        if (letter == '-' || letter == '{' || letter == '}')
            continue;
        if (std::string_view("0123456789abcdef").find(letter) == std::string_view::npos)
            return text;
        digits += letter;
    }
    if (digits.size() != kHexDigits)
        return text;
    for (const size_t place : {size_t{20}, size_t{16}, size_t{12}, size_t{8}})
        digits.insert(place, "-");
    return digits;
}

std::vector<std::string> keyIdsOfList(const std::string& text) {
    std::vector<std::string> ids;
    std::istringstream words(text);
    for (std::string word; ids.size() < kMaxIds && words >> word;)
        ids.push_back(uuidText(word));
    return ids;
}

std::vector<std::string> keyIdsOfPlayReady(std::string_view object) {
    constexpr uint64_t kHeaderRecord = 1;
    ByteReader reader(object);
    const auto size = littleEndian(reader, 4);
    const auto count = littleEndian(reader, 2);
    if (!size || *size > object.size() || !count)
        return {};
    for (uint64_t i = 0; i < *count; ++i) {
        const auto type = littleEndian(reader, 2);
        const auto length = littleEndian(reader, 2);
        const auto record = length ? reader.bytes(static_cast<size_t>(*length)) : std::nullopt;
        if (!type || !record)
            return {};
        if (*type == kHeaderRecord)
            return keyIdsOfHeader(*record);
    }
    return {};
}

std::vector<std::string> keyIdsOfPssh(std::string_view bytes) {
    const auto box = takeBox(bytes);
    if (!box || box->type != "pssh")
        return {};
    ByteReader reader(box->content);
    const auto version = reader.number(1);
    const auto flags = reader.number(3);
    const auto system = reader.bytes(kIdSize);
    if (!version || !flags || !system)
        return {};
    std::vector<std::string> ids;
    const uint64_t count = *version > 0 ? reader.number(4).value_or(0) : 0;
    for (uint64_t i = 0; i < count; ++i) {
        const auto id = reader.bytes(kIdSize);
        if (!id)
            return ids;
        if (ids.size() < kMaxIds)
            ids.push_back(uuidOf(*id));
    }
    const auto size = reader.number(4);
    if (!ids.empty() || !size || *size > reader.rest().size())
        return ids;
    const std::string_view data = reader.rest().substr(0, static_cast<size_t>(*size));
    const std::string name = hexOf(*system);
    if (name == kWidevine)
        return keyIdsOfWidevine(data);
    return name == kPlayReady ? keyIdsOfPlayReady(data) : ids;
}

} // namespace hastool
