/// @file
/// A bit writer, most significant bit first.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// Writes bits into a range of bytes that it borrows.
///
/// It overlays: bits of a byte that are not written keep what the range held, except in the first
/// byte after Reset(), whose unwritten bits become 0. To build from scratch, hand it zeroed bytes.
///
/// Writing stops at the end of the range; what does not fit is dropped, and no byte outside the
/// range is read or written. A builder over null or a size below 1 drops everything.
///
/// Thread safety: one thread at a time.
class HAS_API BitstreamBuilder {
public:
    /// A builder without a range.
    BitstreamBuilder();

    /// Starts at the first bit of a range.
    /// @param bytes  borrowed; must stay valid for as long as bits are written
    /// @param size   in bytes
    void Reset(void* bytes, int size);

    /// Writes the low `n` bits of `value`.
    ///
    /// @param value  its bits above the low `n` are to be 0. In a byte that holds bits already the
    ///               ones among them are or-ed over these, because the value is not masked.
    /// @param n      bits; above 32 the field starts with zeros; below 0 nothing is written
    void AddBits(unsigned int value, int n);

private:
    HAS_LOCAL bool atEnd() const;
    HAS_LOCAL void writeInside(unsigned int value, int n);
    HAS_LOCAL void completeByte(unsigned int value, int bitsBehind);

    unsigned char* m_base = nullptr;
    int m_size = 0;
    unsigned char* m_current = nullptr;
    unsigned short m_accumulator = 0;
    int m_bitsFree = 8;
};

} // namespace hascommon
