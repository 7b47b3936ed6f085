/// @file
/// A byte buffer that owns or borrows its memory.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// Bytes with two independent positions: one for reading, one for the start of the payload.
///
/// **Ownership.** PtrAlloc() and a growing PtrResize() give the packet memory of its own, which it
/// frees; SetPtr() borrows memory that must outlive its use here. A copy is a view: it borrows the
/// same bytes and is good for as long as the packet that owns them leaves them alone.
///
/// **Positions** are stored as they are set, also outside the buffer. Nothing is ever read there:
/// GetByte() and the readers built on a packet check them against the size.
///
/// **Failures.** Nothing throws. Where memory runs out PtrAlloc() leaves the packet empty and
/// PtrResize() leaves it as it was, which GetSize() shows.
///
/// Thread safety: one thread at a time.
class HAS_API Packet {
public:
    /// An empty packet.
    Packet();
    /// A view of the other packet's bytes: size, tag, bytes and positions, but never the ownership,
    /// and not the extra values, which start at zero.
    Packet(const Packet& other);
    /// Becomes a view of the other packet's bytes, as the copy constructor makes one; the extra
    /// values stay. Bytes it owned are freed, unless they are the very bytes of `other`, which it
    /// then goes on owning.
    Packet& operator=(const Packet& other);
    /// Frees the bytes if they are its own.
    virtual ~Packet();

    /// Empties the packet: frees its own bytes or lets go of borrowed ones, and sets the size and
    /// both positions to 0.
    void PtrFree();

    /// Replaces the bytes by new ones of its own; what they hold is not defined.
    /// @param size  bytes wanted; 0 empties the packet
    /// @return 0
    int PtrAlloc(unsigned int size);

    /// Changes the size and keeps the bytes up to it and the positions.
    ///
    /// A smaller size, 0 included, only changes what GetSize() says. A larger one moves the bytes
    /// to new memory of its own, also where they were borrowed; the lender's stay as they are. The
    /// bytes added are not defined.
    /// @return 0
    int PtrResize(unsigned int size);

    /// Empties the packet and borrows `bytes`.
    /// @param bytes  `size` readable and writable bytes, or null
    void SetPtr(unsigned char* bytes, unsigned int size);

    /// @return the bytes; null when it neither has memory nor borrows any
    unsigned char* GetPtr();
    /// @return the size in bytes
    unsigned int GetSize();

    /// Copies bytes from the read position and moves it behind them.
    ///
    /// The packet's last byte is never handed out: a read that would end at it is refused.
    /// Embedders reckon with it, so it stays; callers that want every byte use GetPtr().
    /// @param out  room for `n` bytes; untouched on failure
    /// @return 0, or -1 when there are no bytes or not more than `n` from the read position on
    int GetByte(unsigned char* out, unsigned int n);

    /// Moves the read position back by `n`, unchecked. Before the first byte it wraps, and
    /// GetByte() fails until ResetPos().
    void UngetByte(unsigned int n);

    /// Sets the read position to the first byte.
    void ResetPos();

    /// Sets the data position, unchecked.
    void SetDataPos(int position);

    /// Adds to the data position, unchecked; the sum wraps at 32 bits.
    void MoveDataPos(int offset);

    /// @return the address at the data position. It is for use only while GetDataSize() is above 0
    ///         and the position is not negative.
    unsigned char* GetDataPtr();

    /// @return the size less the data position; negative for a position behind the end
    int GetDataSize();

private:
    unsigned int m_size = 0;

public:
    /// The embedder's word; it goes with the packet when it is copied.
    unsigned int m_tag = 0;
    /// The embedder's values; never copied.
    unsigned long long m_extra[4] = {};

private:
    HAS_LOCAL void releaseBytes();
    HAS_LOCAL void viewOf(const Packet& other);
    HAS_LOCAL bool grow(unsigned int size);

    unsigned char* m_buffer = nullptr;
    bool m_owns = false;
    unsigned int m_readPos = 0;
    int m_dataPos = 0;
};

} // namespace hascommon
