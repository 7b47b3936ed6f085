/// @file
/// An array of fixed size.
#pragma once

namespace hascommon {

/// Exactly `Size` elements and nothing else: a `CArray<unsigned char, 188>` is one MPEG-TS packet
/// as it lies in memory, so a packet inside a larger buffer may be looked at through it.
///
/// An aggregate: without an initialiser its elements are not defined, with `{}` they are zero. No
/// access is checked.
///
/// Thread safety: that of a plain array.
template<typename T, unsigned int Size>
struct CArray {
    /// The elements; use the operations below.
    T m_elements[Size];

    /// @param at  below Size
    T& operator[](unsigned int at) { return m_elements[at]; }
    const T& operator[](unsigned int at) const { return m_elements[at]; }

    T* data() { return m_elements; }
    const T* data() const { return m_elements; }
    static constexpr unsigned int size() { return Size; }

    T* begin() { return m_elements; }
    T* end() { return m_elements + Size; }
    const T* begin() const { return m_elements; }
    const T* end() const { return m_elements + Size; }
};

} // namespace hascommon
