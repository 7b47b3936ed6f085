#include <Hasutil/IArrayBuffer.h>

namespace hascommon {

IArrayBuffer::~IArrayBuffer() = default;

} // namespace hascommon
