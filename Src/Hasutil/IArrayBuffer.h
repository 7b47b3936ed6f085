/// @file
/// What downloaded segment data is staged in: the consumer's side.
#pragma once

#include <Hasutil/IOutputBuffer.h>

#include <string>

namespace hascommon {

/// A buffer that bytes are taken out of in the order in which they came.
///
/// Which thread may call what is the implementation's to say.
///
/// Embedders may implement it. Its virtual operations keep this order for good.
class HAS_API IArrayBuffer : public IOutputBuffer {
public:
    ~IArrayBuffer() override;

    /// Drops the oldest element, where the buffer has elements.
    virtual void PopFront() = 0;

    /// Takes the oldest `size` bytes out, or, where fewer are held, no byte.
    /// @param out  room for them, or null to drop them unread
    /// @return whether they were taken out
    virtual bool PopFront(unsigned int size, void* out) = 0;

    /// Copies the oldest element to `out` and leaves it in the buffer.
    /// @return false where the buffer is empty, or knows bytes only and no elements
    virtual bool GetFront(void* out) = 0;

    /// Drops everything; what the buffer can hold stays the same.
    virtual void Clear() = 0;

    /// @return a copy of all bytes, where the buffer hands them out as text
    virtual std::string GetString() = 0;
};

} // namespace hascommon
