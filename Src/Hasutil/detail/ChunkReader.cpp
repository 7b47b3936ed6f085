#include <Hasutil/detail/ChunkReader.h>

#include <algorithm>
#include <cstring>

namespace hascommon::detail {

unsigned char* ChunkReader::front(size_t size) {
    if (m_waiting.empty())
        return m_chunk;
    if (m_waiting.size() < size)
        moveBehindWaiting(size - m_waiting.size());
    return m_waiting.data();
}

void ChunkReader::pass(unsigned char* out, size_t size) {
    const size_t waiting = std::min(size, m_waiting.size());
    if (waiting != 0) {
        memcpy(out, m_waiting.data(), waiting);
        drop(waiting);
    }
    if (size == waiting)
        return;
    memcpy(out + waiting, m_chunk, size - waiting);
    skip(size - waiting);
}

void ChunkReader::drop(size_t size) {
    const size_t waiting = std::min(size, m_waiting.size());
    if (waiting != 0)
        m_waiting.erase(m_waiting.begin(),
                        m_waiting.begin() + static_cast<std::ptrdiff_t>(waiting));
    skip(size - waiting);
}

void ChunkReader::moveBehindWaiting(size_t size) {
    const size_t needed = m_waiting.size() + size;
    // A vector left alone would double, beyond the limit in the end.
    if (needed > m_waiting.capacity())
        m_waiting.reserve(std::max(needed, std::min(2 * m_waiting.capacity(), m_limit)));
    m_waiting.insert(m_waiting.end(), m_chunk, m_chunk + size);
    skip(size);
}

} // namespace hascommon::detail
