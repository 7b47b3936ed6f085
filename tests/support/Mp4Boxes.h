// MP4 boxes for a test's input (ISO/IEC 14496-12).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test {

/// A big-endian number of so many bytes.
inline std::string be(uint64_t value, size_t size = 4) {
    std::string text(size, '\0');
    for (size_t i = size; i-- > 0; value >>= 8)
        text[i] = static_cast<char>(value & 0xFF);
    return text;
}

inline std::string zeros(size_t count) {
    return std::string(count, '\0');
}

inline std::string mp4Box(const std::string& type, const std::string& content) {
    return be(8 + content.size()) + type + content;
}

/// A box with version and flags.
inline std::string fullBox(const std::string& type, uint64_t version, uint64_t flags,
                           const std::string& content) {
    return mp4Box(type, be(version, 1) + be(flags, 3) + content);
}

/// A `pssh` of version 0.
inline std::string psshBox(const std::string& systemId, const std::string& data) {
    return fullBox("pssh", 0, 0, systemId + be(data.size()) + data);
}

} // namespace test
