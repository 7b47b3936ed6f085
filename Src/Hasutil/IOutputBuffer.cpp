#include <Hasutil/IOutputBuffer.h>

namespace hascommon {

IOutputBuffer::~IOutputBuffer() = default;

} // namespace hascommon
