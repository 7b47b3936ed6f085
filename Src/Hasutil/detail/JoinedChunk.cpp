#include <Hasutil/detail/JoinedChunk.h>

#include <algorithm>
#include <cstring>

namespace hascommon::detail {

bool JoinedChunk::front(size_t size, BoxView& bytes) {
    if (size > available())
        return false;
    if (!m_waiting.empty() && m_waiting.size() < size)
        moveBehindWaiting(size - m_waiting.size());
    bytes = BoxView(m_waiting.empty() ? m_chunk : m_waiting.data(), size);
    return true;
}

bool JoinedChunk::pass(unsigned char* out, size_t size) {
    if (size > available())
        return false;
    const size_t waiting = std::min(size, m_waiting.size());
    if (waiting != 0)
        memcpy(out, m_waiting.data(), waiting);
    if (size != waiting)
        memcpy(out + waiting, m_chunk, size - waiting);
    return drop(size);
}

bool JoinedChunk::drop(size_t size) {
    if (size > available())
        return false;
    const size_t waiting = std::min(size, m_waiting.size());
    if (waiting != 0)
        m_waiting.erase(m_waiting.begin(),
                        m_waiting.begin() + static_cast<std::ptrdiff_t>(waiting));
    skip(size - waiting);
    return true;
}

void JoinedChunk::moveBehindWaiting(size_t size) {
    const size_t needed = m_waiting.size() + size;
    // A vector left alone would double, beyond the limit in the end.
    if (needed > m_waiting.capacity())
        m_waiting.reserve(std::max(needed, std::min(2 * m_waiting.capacity(), m_limit)));
    m_waiting.insert(m_waiting.end(), m_chunk, m_chunk + size);
    skip(size);
}

} // namespace hascommon::detail
