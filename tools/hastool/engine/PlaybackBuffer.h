// The buffer that a player would play from.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

namespace hastool {

/// Media that was fetched and not yet played, drained as time passes.
///
/// Play begins, and goes on after the buffer ran empty, when there is enough of it, or all.
class PlaybackBuffer {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// @param enough  how much media it takes to begin
    explicit PlaybackBuffer(Milliseconds enough)
        : m_enough(enough) {}

    void add(Milliseconds duration, uint64_t bytes);
    /// Nothing will be added any more.
    void finish();
    /// Lets time pass.
    void drain(Milliseconds time);
    /// Plays down to a level in no time.
    void drainTo(Milliseconds level);

    Milliseconds level() const { return m_level; }
    /// Bytes of the media that is there, a piece that is being played in proportion.
    uint64_t bytes() const;
    /// How much was played.
    Milliseconds position() const { return m_position; }
    bool isPlaying() const { return m_playing; }
    /// Whether everything was played.
    bool isDone() const { return m_finished && m_level.count() == 0; }

    /// How often and for how long play stood still after it had begun, and how long it took to
    /// begin.
    int stalls() const { return m_stalls; }
    Milliseconds stallTime() const { return m_stallTime; }
    Milliseconds startupTime() const { return m_startupTime; }

private:
    struct Piece {
        Milliseconds duration;
        Milliseconds left;
        uint64_t bytes;
    };

    void play(Milliseconds time);
    void stand(Milliseconds time);

    const Milliseconds m_enough;
    std::deque<Piece> m_pieces;
    Milliseconds m_level{0};
    Milliseconds m_position{0};
    bool m_playing = false;
    bool m_begun = false;
    bool m_finished = false;
    int m_stalls = 0;
    Milliseconds m_stallTime{0};
    Milliseconds m_startupTime{0};
};

} // namespace hastool
