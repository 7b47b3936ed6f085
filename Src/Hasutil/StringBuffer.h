/// @file
/// An unbounded byte queue.
#pragma once

#include <Hasutil/IArrayBuffer.h>

#include <cstddef>
#include <string>

namespace hascommon {

/// Bytes in the order of their arrival.
///
/// Taking bytes from the front costs time in proportion to what is taken, however much is held.
///
/// **Failures.** Nothing throws: where memory runs out PushBack() returns false and GetString() is
/// empty.
///
/// Thread safety: one thread at a time.
class HAS_API StringBuffer : public IArrayBuffer {
public:
    /// @param reserve  bytes to make room for beforehand; only a hint
    explicit StringBuffer(unsigned int reserve);
    ~StringBuffer() override;

    /// Appends bytes; there is no limit but memory.
    /// @return true; false when memory ran out, or for null data of a size above 0
    bool PushBack(void* data, unsigned int size) override;

    /// Whether it holds no bytes.
    bool Empty() override;
    /// @return bytes held, modulo 2^32
    unsigned int Size() override;

    /// @return 2,097,152 less the bytes held. Above that many held it wraps at 32 bits; this is
    ///         meant, the number is a hint and no limit.
    unsigned int FreeSize() override;

    /// @return 134,217,727, which is no limit either
    unsigned int MaxSize() override;

    /// Does nothing: there is no limit to set.
    void SetMaxSize(unsigned int size) override;

    /// @return 134,217,727 whatever `size` is
    unsigned int AdjustSize(unsigned int size) override;

    /// Does nothing: single bytes are no elements.
    void PopFront() override;

    /// Takes the oldest `size` bytes out, or, where fewer are held, no byte.
    /// @param out  room for `size` bytes, or null to drop them unread
    /// @return whether they were taken out
    bool PopFront(unsigned int size, void* out) override;

    /// Copies nothing.
    /// @return false
    bool GetFront(void* out) override;

    /// Drops everything; the memory is kept for later pushes.
    void Clear() override;

    /// @return a copy of all bytes, zero bytes included
    std::string GetString() override;

private:
    HAS_LOCAL size_t length() const;
    HAS_LOCAL void drop(size_t size);

    std::string m_data;
    size_t m_taken = 0; // bytes at the front of m_data that were taken out already
};

} // namespace hascommon
