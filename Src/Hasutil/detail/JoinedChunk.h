// The stream as one run of bytes: those that wait, and the chunk in hand behind them.
#pragma once

#include <Hasutil/detail/BoxView.h>

#include <vector>

namespace hascommon::detail {

/// Takes a stream that comes in chunks apart. What does not have to wait is never copied: bytes are
/// moved behind those that wait only as far as somebody asks to see them in one piece.
///
/// Whoever asks for more than is available gets false, and nothing changes.
class JoinedChunk {
public:
    /// @param waiting  what keepRest() kept; stays the owner's
    /// @param chunk    stays the caller's while this lives
    /// @param limit    the most bytes that memory is taken for; nobody asks for more at a time
    JoinedChunk(std::vector<unsigned char>& waiting, unsigned char* chunk, size_t size,
                size_t limit)
        : m_waiting(waiting)
        , m_chunk(chunk)
        , m_left(size)
        , m_limit(limit) {}

    size_t available() const { return m_waiting.size() + m_left; }

    /// Shows the first `size` of the available bytes in one piece, until the next call.
    bool front(size_t size, BoxView& bytes);
    /// Copies the first `size` of the available bytes and drops them.
    bool pass(unsigned char* out, size_t size);
    /// Drops the first `size` of the available bytes.
    bool drop(size_t size);
    /// Lets what is available wait for the next chunk.
    void keepRest() {
        if (m_left != 0)
            moveBehindWaiting(m_left);
    }

private:
    void moveBehindWaiting(size_t size);
    /// Drops bytes of the chunk.
    void skip(size_t size) {
        m_chunk += size;
        m_left -= size;
    }

    std::vector<unsigned char>& m_waiting;
    unsigned char* m_chunk;
    size_t m_left;
    size_t m_limit;
};

} // namespace hascommon::detail
