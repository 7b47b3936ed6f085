#include "PlaybackBuffer.h"

#include <algorithm>

namespace hastool {

PlaybackBuffer::PlaybackBuffer(Milliseconds enough, size_t tracks)
    : m_enough(enough)
    , m_tracks(tracks) {}

void PlaybackBuffer::add(Milliseconds duration, uint64_t bytes, size_t track) {
    if (duration.count() <= 0)
        return;
    m_tracks[track].pieces.push_back({duration, duration, bytes});
    m_tracks[track].level += duration;
    beginWhenReady();
}

void PlaybackBuffer::finish(size_t track) {
    m_tracks[track].finished = true;
    beginWhenReady();
}

void PlaybackBuffer::finishAll() {
    for (size_t i = 0; i < m_tracks.size(); ++i)
        finish(i);
}

void PlaybackBuffer::beginWhenReady() {
    const bool isReady = std::all_of(m_tracks.begin(), m_tracks.end(), [&](const Track& track) {
        return track.finished || track.level >= m_enough;
    });
    if (isReady && level().count() > 0)
        m_playing = m_begun = true;
}

PlaybackBuffer::Milliseconds PlaybackBuffer::level() const {
    Milliseconds shortest = Milliseconds::max();
    Milliseconds longest{0};
    for (const Track& track : m_tracks) {
        longest = std::max(longest, track.level);
        if (!track.finished)
            shortest = std::min(shortest, track.level);
    }
    return std::min(shortest, longest);
}

bool PlaybackBuffer::isFinished() const {
    return std::all_of(m_tracks.begin(), m_tracks.end(),
                       [](const Track& track) { return track.finished; });
}

bool PlaybackBuffer::isDone() const {
    return isFinished() && level().count() == 0;
}

void PlaybackBuffer::drain(Milliseconds time) {
    if (!m_playing) {
        stand(time);
        return;
    }
    const Milliseconds played = std::min(time, level());
    play(played);
    if (level().count() > 0)
        return;
    m_playing = false;
    if (isFinished())
        return;
    ++m_stalls;
    stand(time - played);
}

void PlaybackBuffer::drainTo(Milliseconds target) {
    if (m_playing && level() > target)
        play(level() - target);
}

uint64_t PlaybackBuffer::bytes() const {
    uint64_t total = 0;
    for (const Track& track : m_tracks) {
        for (const Piece& piece : track.pieces) {
            const double part = static_cast<double>(piece.left.count()) /
                                static_cast<double>(piece.duration.count());
            total += static_cast<uint64_t>(static_cast<double>(piece.bytes) * part);
        }
    }
    return total;
}

void PlaybackBuffer::play(Milliseconds time) {
    m_position += time;
    for (Track& track : m_tracks)
        playTrack(track, std::min(time, track.level));
}

void PlaybackBuffer::playTrack(Track& track, Milliseconds time) {
    track.level -= time;
    while (time.count() > 0) {
        Piece& piece = track.pieces.front();
        const Milliseconds played = std::min(time, piece.left);
        piece.left -= played;
        time -= played;
        if (piece.left.count() == 0)
            track.pieces.pop_front();
    }
}

void PlaybackBuffer::stand(Milliseconds time) {
    if (isFinished())
        return;
    (m_begun ? m_stallTime : m_startupTime) += time;
}

} // namespace hastool
