// A box, or a run of boxes, in bytes that belong to somebody else.
#pragma once

#include <climits>
#include <cstddef>

namespace hascommon::detail {

/// Size and type, in front of every box.
constexpr size_t kBoxHeader = 8;

/// Four characters as the number that a box's type is compared as.
constexpr unsigned int boxType(const char (&name)[5]) {
    unsigned int type = 0;
    for (int i = 0; i < 4; ++i)
        type = type << 8 | static_cast<unsigned char>(name[i]);
    return type;
}

inline void storeU32(unsigned char* at, unsigned int value) {
    at[0] = static_cast<unsigned char>(value >> 24);
    at[1] = static_cast<unsigned char>(value >> 16);
    at[2] = static_cast<unsigned char>(value >> 8);
    at[3] = static_cast<unsigned char>(value);
}

inline void storeU64(unsigned char* at, unsigned long long value) {
    storeU32(at, static_cast<unsigned int>(value >> 32));
    storeU32(at + 4, static_cast<unsigned int>(value));
}

/// Reads big-endian fields byte by byte, at any alignment. The reads expect bytes that are there;
/// holds() tells.
class BoxView {
public:
    BoxView() = default;
    BoxView(unsigned char* bytes, size_t size)
        : m_bytes(bytes)
        , m_size(size) {}

    unsigned char* data() const { return m_bytes; }
    size_t size() const { return m_size; }

    /// Whether `count` bytes from `at` on are there. 64 bits, so that a product of two fields fits.
    bool holds(unsigned long long at, unsigned long long count) const {
        return at <= m_size && count <= m_size - at;
    }

    unsigned int u8(size_t at) const { return m_bytes[at]; }
    unsigned int u16(size_t at) const { return u8(at) << 8 | u8(at + 1); }
    unsigned int u24(size_t at) const { return u16(at) << 8 | u8(at + 2); }
    unsigned int u32(size_t at) const { return u16(at) << 16 | u16(at + 2); }
    unsigned long long u64(size_t at) const {
        return static_cast<unsigned long long>(u32(at)) << 32 | u32(at + 4);
    }

    /// The type in a box's header; it must be there.
    unsigned int type() const { return u32(4); }

    /// The box that begins at `at`.
    /// @return false when its header is not there, or claims less than itself or more than there is
    bool child(size_t at, BoxView& child) const {
        if (!holds(at, kBoxHeader))
            return false;
        const unsigned int size = u32(at);
        if (size < kBoxHeader || !holds(at, size))
            return false;
        child = BoxView(m_bytes + at, size);
        return true;
    }

private:
    unsigned char* m_bytes = nullptr;
    size_t m_size = 0;
};

/// A count of bytes as a parser returns it; -1 when it is too large for that.
inline int consumed(unsigned long long bytes) {
    return bytes <= INT_MAX ? static_cast<int>(bytes) : -1;
}

} // namespace hascommon::detail
