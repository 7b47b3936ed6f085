/// @file
/// Reads the syntax of H.264 raw byte sequence payloads.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/Packet.h>

namespace hascommon {

/// Reads bits and Exp-Golomb codes from a packet and drops emulation-prevention bytes on the way
/// (ITU-T H.264, clauses 7.3.1, 7.4.1.1 and 9.1).
///
/// **Ownership.** The packet is borrowed. Its data position is the next byte to fetch and moves on
/// with every byte; nothing is read where it lies outside the packet.
///
/// **The end of the data.** The operation that needs a byte too many fails. The reader then stands
/// at the start of a zero byte that is not in the data, so a caller stops at the first failure.
///
/// Thread safety: one thread at a time.
class HAS_API H264_SyntaxReader {
public:
    /// Starts at the packet's data position.
    /// @param packet  borrowed; null reads like an empty packet
    explicit H264_SyntaxReader(Packet* packet);
    virtual ~H264_SyntaxReader();

    /// Fetches the next byte of the payload.
    ///
    /// A 3 behind two zeros is dropped and the byte behind it handed out whatever it is; that byte
    /// does not count as a zero, so of 00 00 03 00 00 03 only the first 03 is dropped. A third zero
    /// in a row starts the count of zeros over. Engines reckon with both, so they stay.
    /// @param byte  receives it, 0 at the end
    /// @return 0, or -9 at the end of the data
    int Increment(unsigned char& byte);

    /// Fetches a byte when the current one is used up.
    /// @return 0, or -9 at the end of the data
    int LoadByte();

    /// Takes the next bit of the current byte; LoadByte() comes before it.
    /// @return 0 or 1; 0 when no byte was loaded
    unsigned int GetBitIncrement();

    /// Takes the bits up to and including the first 1.
    /// @param zeros  receives how many 0 bits stood before it; untouched on failure
    /// @return 0, or -1 when the data ends first
    int CountGolombLength(int& zeros);

    /// Reads a field of `n` bits, most significant bit first: u(n).
    /// @param n      any number; of a field above 32 bits the low 32 are handed out
    /// @param value  receives it, 0 for n = 0; untouched on failure
    /// @return 0, or -1 when the data ends first
    int ReadU(unsigned int n, unsigned int& value);

    /// Reads an unsigned Exp-Golomb code: ue(v).
    /// @param value  receives it; the value of a code with 32 and more leading zeros wraps at 32
    ///               bits. 0 on failure
    /// @return 0, or -1 when the data ends first
    int ReadUE(unsigned int& value);

    /// Reads a signed Exp-Golomb code: se(v).
    /// @param value  receives it, wrapping at 32 bits; untouched on failure
    /// @return 0, or -1 when the data ends first
    int ReadSE(int& value);

private:
    HAS_LOCAL bool fetch(unsigned char& byte);

    Packet* m_packet;
    unsigned int m_zeroRun = 0;
    [[maybe_unused]] unsigned int m_reserved = 0;
    unsigned int m_bitIndex = 8;
    unsigned char m_byte = 0;
};

/// Reads one scaling list (ITU-T H.264, clause 7.3.2.1.1.1) and drops its values.
/// @param reader  stands at the list's first delta
/// @param size    entries, 16 or 64 in a real stream
/// @return 1, or 0 when the data ends first
HAS_API int read_scaling_list(H264_SyntaxReader& reader, unsigned int size);

} // namespace hascommon
