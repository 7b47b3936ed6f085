#include "PlaybackBuffer.h"

#include <algorithm>

namespace hastool {

void PlaybackBuffer::add(Milliseconds duration, uint64_t bytes) {
    if (duration.count() <= 0)
        return;
    m_pieces.push_back({duration, duration, bytes});
    m_level += duration;
    if (m_level >= m_enough)
        m_playing = m_begun = true;
}

void PlaybackBuffer::finish() {
    m_finished = true;
    if (m_level.count() > 0)
        m_playing = m_begun = true;
}

void PlaybackBuffer::drain(Milliseconds time) {
    if (!m_playing) {
        stand(time);
        return;
    }
    const Milliseconds played = std::min(time, m_level);
    play(played);
    if (m_level.count() > 0)
        return;
    m_playing = false;
    if (m_finished)
        return;
    ++m_stalls;
    stand(time - played);
}

void PlaybackBuffer::drainTo(Milliseconds level) {
    if (m_playing && m_level > level)
        play(m_level - level);
}

uint64_t PlaybackBuffer::bytes() const {
    uint64_t total = 0;
    for (const Piece& piece : m_pieces) {
        const double part =
            static_cast<double>(piece.left.count()) / static_cast<double>(piece.duration.count());
        total += static_cast<uint64_t>(static_cast<double>(piece.bytes) * part);
    }
    return total;
}

void PlaybackBuffer::play(Milliseconds time) {
    m_level -= time;
    m_position += time;
    while (time.count() > 0) {
        Piece& piece = m_pieces.front();
        const Milliseconds played = std::min(time, piece.left);
        piece.left -= played;
        time -= played;
        if (piece.left.count() == 0)
            m_pieces.pop_front();
    }
}

void PlaybackBuffer::stand(Milliseconds time) {
    if (m_finished)
        return;
    (m_begun ? m_stallTime : m_startupTime) += time;
}

} // namespace hastool
