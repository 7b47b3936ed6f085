/// @file
/// A ring of MPEG-TS packets between two threads.
#pragma once

#include <Hascommon/RecursiveMutex.h>
#include <Hasutil/CArray.h>
#include <Hasutil/IArrayBuffer.h>

#include <string>

namespace hascommon {

/// A ring of a fixed number of 188-byte packets; the elements of the interface are packets.
///
/// **Whole packets** go in and out exactly, PushBackPacket() and GetFront() with PopFront() above
/// all; AdjustSize() brings a size down to them.
///
/// **Other sizes, and runs of packets that pass the end of the ring,** move the positions further
/// than the bytes they carry, so that what is read later is not what was written: a run that wraps
/// leaves its position as many packets behind the start as the whole run has.
/// Embedders reckon with that, so it stays. It never touches memory outside the ring: a position
/// goes round it, and what would be copied behind its end is left out.
///
/// **Ownership.** The ring's memory comes from GetHasMemory() and is given back through
/// FreeHasMemory().
///
/// **Thread safety.** One thread may push while another pops. Every operation but AdjustSize() and
/// PopFrontNoLock() holds a recursive mutex, which a caller may lock itself around several of them,
/// see GetMutex().
class HAS_API CTSPacketBuffer : public IArrayBuffer {
public:
    /// An empty ring; without memory for it, one that holds nothing.
    /// @param capacity  bytes, as for SetMaxSize()
    explicit CTSPacketBuffer(unsigned int capacity);
    ~CTSPacketBuffer() override;
    CTSPacketBuffer(const CTSPacketBuffer&) = delete;
    CTSPacketBuffer& operator=(const CTSPacketBuffer&) = delete;

    /// Appends one packet.
    /// @param packet  188 bytes, only read
    /// @return false when less than 188 bytes are free, or for null; true otherwise, also in the
    ///         one case that an earlier push of an odd size has left the write position at the very
    ///         end of the ring and nothing is stored
    bool PushBackPacket(void* packet);

    /// Appends bytes; at least one packet.
    /// @return false when fewer are free or `size` is below 188, or for null
    bool PushBack(void* data, unsigned int size) override;

    /// Whether it holds no bytes.
    bool Empty() override;
    /// @return bytes held
    unsigned int Size() override;
    /// @return bytes that may still be pushed
    unsigned int FreeSize() override;
    /// @return bytes it can hold, a multiple of 188
    unsigned int MaxSize() override;

    /// Replaces the ring by an empty one.
    /// @param size  bytes, rounded down to whole packets; 0 changes nothing. A size above 2^31 - 1,
    ///              or one that there is no memory for, changes nothing either.
    void SetMaxSize(unsigned int size) override;

    /// @return `size` rounded down to whole packets
    unsigned int AdjustSize(unsigned int size) override;

    /// Drops the oldest packet, if there is a whole one. GetFront() before it hands it out.
    void PopFront() override;

    /// The same for a caller that holds GetMutex().
    void PopFrontNoLock() HAS_REQUIRES(m_mutex);

    /// Takes bytes out; at least one packet.
    /// @param out  room for them, or null to drop them unread
    /// @return false when fewer are held or `size` is below 188
    bool PopFront(unsigned int size, void* out) override;

    /// Copies the oldest packet and leaves it in the ring.
    /// @param out  room for 188 bytes, or null to have only the answer
    /// @return whether the ring holds anything
    bool GetFront(void* out) override;

    /// Drops everything; the ring keeps its size.
    void Clear() override;

    /// @return the empty string: packets are not handed out as text
    std::string GetString() override;

    /// The ring's mutex, for a caller that wants several operations to be one.
    RecursiveMutex& GetMutex() HAS_THREAD_ATTRIBUTE(lock_returned(m_mutex));

private:
    using Slot = CArray<unsigned char, 188>;

    HAS_LOCAL unsigned int slots() const HAS_REQUIRES(m_mutex);
    HAS_LOCAL unsigned int freeBytes() const HAS_REQUIRES(m_mutex);
    HAS_LOCAL Slot* around(Slot* position, unsigned int packets) const HAS_REQUIRES(m_mutex);
    HAS_LOCAL unsigned int inside(const Slot* position, unsigned int size) const
        HAS_REQUIRES(m_mutex);
    HAS_LOCAL void store(const unsigned char* from, unsigned int size) HAS_REQUIRES(m_mutex);
    HAS_LOCAL void fetch(unsigned char* to, unsigned int size) const HAS_REQUIRES(m_mutex);
    HAS_LOCAL void pushAhead(const unsigned char* bytes, unsigned int size) HAS_REQUIRES(m_mutex);
    HAS_LOCAL void pushRound(const unsigned char* bytes, unsigned int size) HAS_REQUIRES(m_mutex);
    HAS_LOCAL void popRound(unsigned char* out, unsigned int size) HAS_REQUIRES(m_mutex);
    HAS_LOCAL void replaceRing(unsigned int size) HAS_REQUIRES(m_mutex);

    RecursiveMutex m_mutex;
    Slot* m_start HAS_GUARDED_BY(m_mutex) = nullptr;
    Slot* m_end HAS_GUARDED_BY(m_mutex) = nullptr;
    Slot* m_read HAS_GUARDED_BY(m_mutex) = nullptr;
    Slot* m_write HAS_GUARDED_BY(m_mutex) = nullptr;
    int m_used HAS_GUARDED_BY(m_mutex) = 0;
    int m_capacity HAS_GUARDED_BY(m_mutex) = 0;
};

} // namespace hascommon
