// A box, or a run of boxes, in bytes that belong to somebody else.
#pragma once

#include <Hasutil/detail/ByteReader.h>

#include <climits>

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

/// Where a box lies. What it says is read by a ByteReader; what changes is written in place.
class BoxView {
public:
    BoxView() = default;
    BoxView(unsigned char* bytes, size_t size)
        : m_bytes(bytes)
        , m_size(size) {}

    unsigned char* data() const { return m_bytes; }
    size_t size() const { return m_size; }

    /// A reader of the whole box that stands at `at`, or at the end of a shorter box.
    ByteReader from(size_t at) const {
        ByteReader reader(m_bytes, m_size);
        reader.skip(at < m_size ? at : m_size);
        return reader;
    }
    /// The type in the header; 0 where the bytes hold no header.
    unsigned int type() const {
        unsigned int type = 0;
        from(4).u32(type);
        return type;
    }
    /// The flags behind the version; 0 where the bytes do not hold them.
    unsigned int flags() const {
        unsigned int flags = 0;
        from(kBoxHeader + 1).u24(flags);
        return flags;
    }
    /// Writes another type into the header, which must be there.
    void retype(unsigned int type) const { storeU32(m_bytes + 4, type); }

    /// The box that begins at `at`.
    /// @return false when its header is not there, or claims less than itself or more than there is
    bool child(size_t at, BoxView& child) const {
        ByteReader reader = from(at);
        const size_t left = reader.left();
        unsigned int size = 0;
        if (left < kBoxHeader || !reader.u32(size) || size < kBoxHeader || size > left)
            return false;
        child = BoxView(m_bytes + at, size);
        return true;
    }

private:
    unsigned char* m_bytes = nullptr;
    size_t m_size = 0;
};

/// Calls `visit` for each child from `from` on; false as soon as one does not fit or `visit` says
/// so.
template<typename Visit>
bool forChildren(const BoxView& parent, size_t from, Visit visit) {
    BoxView child;
    for (size_t at = from; at < parent.size(); at += child.size()) {
        if (!parent.child(at, child) || !visit(child))
            return false;
    }
    return true;
}

/// A count of bytes as a parser returns it; -1 when it is too large for that.
inline int consumed(unsigned long long bytes) {
    return bytes <= INT_MAX ? static_cast<int>(bytes) : -1;
}

} // namespace hascommon::detail
