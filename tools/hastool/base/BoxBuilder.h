// Makes boxes of MP4 files (ISO/IEC 14496-12).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace hastool {

/// Bytes that are put one behind the other, numbers big-endian.
class BoxBuilder {
public:
    BoxBuilder& u8(uint32_t value) { return number(value, 1); }
    BoxBuilder& u16(uint32_t value) { return number(value, 2); }
    BoxBuilder& u32(uint32_t value) { return number(value, 4); }
    BoxBuilder& u64(uint64_t value) { return number(value, 8); }
    BoxBuilder& zeros(size_t count) {
        m_bytes.append(count, '\0');
        return *this;
    }
    BoxBuilder& bytes(std::string_view value) {
        m_bytes.append(value);
        return *this;
    }
    const std::string& text() const { return m_bytes; }

    /// The bytes as the content of a box.
    std::string box(std::string_view type) const {
        BoxBuilder header;
        header.u32(static_cast<uint32_t>(8 + m_bytes.size())).bytes(type);
        return header.m_bytes + m_bytes;
    }
    /// The bytes as the content of a box with version and flags.
    std::string fullBox(std::string_view type, uint32_t version = 0, uint32_t flags = 0) const {
        BoxBuilder header;
        header.u32(static_cast<uint32_t>(12 + m_bytes.size())).bytes(type);
        header.u32(version << 24 | flags);
        return header.m_bytes + m_bytes;
    }

private:
    BoxBuilder& number(uint64_t value, unsigned size) {
        for (unsigned i = size; i-- > 0;)
            m_bytes += static_cast<char>(value >> (8 * i) & 0xFF);
        return *this;
    }

    std::string m_bytes;
};

} // namespace hastool
