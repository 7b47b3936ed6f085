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

    /// The element at an index, for reading and writing; the index is not checked.
    /// @param at  below Size
    T& operator[](unsigned int at) { return m_elements[at]; }
    const T& operator[](unsigned int at) const { return m_elements[at]; }

    /// The first element; the others follow it without gaps.
    T* data() { return m_elements; }
    const T* data() const { return m_elements; }
    /// How many elements there are.
    static constexpr unsigned int size() { return Size; }

    /// The elements as a range, for loops and algorithms.
    T* begin() { return m_elements; }
    T* end() { return m_elements + Size; }
    const T* begin() const { return m_elements; }
    const T* end() const { return m_elements + Size; }
};

} // namespace hascommon
