/// @file
/// Operations on one MPEG-TS packet.
#pragma once

#include <Hascommon/BitstreamReader.h>
#include <Hascommon/Export.h>
#include <Hasutil/CArray.h>

namespace hascommon {

/// Rewrites header fields of a transport stream packet (ISO/IEC 13818-1, clause 2.4.3.2) and reads
/// clock references.
///
/// Nothing is validated: the caller passes whole packets whose first byte is the sync byte.
///
/// Thread safety: it has no state; calls on different packets may run side by side.
class HAS_API IPacketProcessor {
public:
    /// Writes the packet's PID and keeps the three flags beside it.
    /// @param pid  its low 13 bits are taken
    void ChangePid(CArray<unsigned char, 188>& packet, int pid);

    /// Steps the packet's continuity counter by one, modulo 16.
    ///
    /// Packets without a payload do not advance the counter (clause 2.4.3.3): the caller leaves
    /// them out.
    void IncreaseCounter(CArray<unsigned char, 188>& packet);

    /// Steps `counter` by one, modulo 16, and writes it into the packet.
    void UpdateCounter(CArray<unsigned char, 188>& packet, int& counter);

    /// Reads a program clock reference (clause 2.4.3.4).
    ///
    /// @param reader  stands at the field's first bit; moves on by 45 bits. Only the upper six of
    ///                the extension's nine bits are read; the lower three are left, and the result
    ///                counts with the six as they are. Embedders reckon with it; it is up to
    ///                10 microseconds early.
    /// @return the 33-bit base times 300 plus those six bits; 0 when the reserved bits between them
    ///         are not all ones. A part that the data does not hold counts as 0.
    unsigned long long ReadPcrField(BitstreamReader& reader);
};

} // namespace hascommon
