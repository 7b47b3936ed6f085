/// @file
/// A bit reader, most significant bit first.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// Reads bits from a range of bytes that it borrows.
///
/// Every read is all or nothing: where the range holds fewer bits than asked for, the output stays
/// untouched and nothing is consumed. There is no other sign of the end, so a caller that has to
/// know initialises its output with a value that the field cannot take.
///
/// Bytes are read at the call, so changes the owner makes to the range are seen. A reader without a
/// range, and one over null or a size below 1, holds no bits.
///
/// Thread safety: one thread at a time.
class HAS_API BitstreamReader {
public:
    /// Starts at the first bit of a range.
    /// @param bytes  borrowed; must stay valid for as long as bits are read
    /// @param size   in bytes
    void Reset(void* bytes, int size);

    /// Reads `n` bits.
    /// @param n      0 to 32; with more the value is the low 32 bits of the field; below 0 nothing
    ///               is read
    /// @param value  receives them; 0 for n = 0, as long as the range has not ended
    void GetBits(int n, unsigned int& value);

    /// The same bit pattern in a signed int; a field shorter than 32 bits is never negative.
    void GetBits(int n, int& value);

    /// The low 32 bits of the field, sign-extended to 64: 32 bits of all ones give 64 of them.
    ///
    /// So it is exact up to n = 31 only. Embedders rely on it, so it stays; a longer field is
    /// read in two parts.
    void GetBits(int n, unsigned long long& value);

    /// Passes over `n` bits; does nothing where fewer remain, or for n below 1.
    void SkipBits(int n);

    /// Passes over `n` bytes, counted from the first byte not read whole, and goes on at a byte's
    /// first bit.
    ///
    /// Does nothing where that would not leave at least one byte, or for n below 1.
    void SkipBytes(int n);

private:
    HAS_LOCAL long long bytesLeft() const;
    HAS_LOCAL bool holds(int n) const;
    HAS_LOCAL bool read(int n, unsigned int& value);
    HAS_LOCAL unsigned int readWide(int n);
    HAS_LOCAL unsigned int readBytewise(int n);

    unsigned char* m_base = nullptr;
    int m_size = 0;
    unsigned char* m_current = nullptr;
    unsigned char m_firstByte = 0;
    int m_bitsLeft = 0;
};

} // namespace hascommon
