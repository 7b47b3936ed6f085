/// @file
/// What downloaded segment data is staged in: the producer's side.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// A buffer that bytes are pushed into. All sizes are in bytes.
///
/// StringBuffer holds any number of bytes, CTSPacketBuffer a fixed number of MPEG-TS packets; each
/// says how far these operations go with it.
///
/// Embedders may implement it. Its virtual operations keep this order for good.
class HAS_API IOutputBuffer {
public:
    virtual ~IOutputBuffer();

    /// Appends bytes: all of them, or, where they do not fit, no byte.
    /// @param data  only read, and copied
    /// @return whether they were taken
    virtual bool PushBack(void* data, unsigned int size) = 0;

    /// Whether it holds no bytes.
    virtual bool Empty() = 0;

    /// @return bytes held
    virtual unsigned int Size() = 0;

    /// @return bytes that may still be pushed
    virtual unsigned int FreeSize() = 0;

    /// @return bytes it can hold in all
    virtual unsigned int MaxSize() = 0;

    /// Changes how many bytes it can hold.
    virtual void SetMaxSize(unsigned int size) = 0;

    /// @return `size` brought down to what one push should carry
    virtual unsigned int AdjustSize(unsigned int size) = 0;
};

} // namespace hascommon
