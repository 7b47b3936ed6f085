// Boxes of MP4 files (ISO/IEC 14496-12).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace hastool {

/// Reads big-endian numbers off the front of a text; a read that does not fit changes nothing.
class ByteReader {
public:
    explicit ByteReader(std::string_view bytes)
        : m_rest(bytes) {}

    std::optional<uint64_t> number(size_t size) {
        if (size > m_rest.size())
            return std::nullopt;
        uint64_t value = 0;
        for (const char byte : m_rest.substr(0, size))
            value = value << 8 | static_cast<unsigned char>(byte);
        m_rest.remove_prefix(size);
        return value;
    }
    std::optional<std::string_view> bytes(size_t size) {
        if (size > m_rest.size())
            return std::nullopt;
        const std::string_view result = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        return result;
    }
    bool skip(size_t size) { return bytes(size).has_value(); }
    std::string_view rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

/// One box; views into the text that it was found in.
struct BoxView {
    std::string_view type;
    std::string_view whole;   ///< with its header
    std::string_view content; ///< behind its header
};

/// Takes the next box off the front; nothing when no whole box is there.
inline std::optional<BoxView> takeBox(std::string_view& bytes) {
    ByteReader reader(bytes);
    auto size = reader.number(4);
    const auto type = reader.bytes(4);
    size_t header = 8;
    if (size == uint64_t{1}) {
        size = reader.number(8);
        header = 16;
    } else if (size == uint64_t{0}) {
        size = bytes.size();
    }
    if (!type || !size || *size < header || *size > bytes.size())
        return std::nullopt;
    const std::string_view whole = bytes.substr(0, static_cast<size_t>(*size));
    bytes.remove_prefix(whole.size());
    return BoxView{*type, whole, whole.substr(header)};
}

/// The first box of a type; nothing when there is no such box.
inline std::optional<BoxView> findBox(std::string_view bytes, std::string_view type) {
    while (const auto box = takeBox(bytes)) {
        if (box->type == type)
            return box;
    }
    return std::nullopt;
}

} // namespace hastool
