// The buffer that a player would play from.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace hastool {

/// Media that was fetched and not yet played. It drains as time passes, all tracks together.
///
/// Play begins, and goes on after the buffer ran empty, when every track has enough media or has
/// all that there will be.
class PlaybackBuffer {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// @param enough  how much media it takes to begin
    explicit PlaybackBuffer(Milliseconds enough, size_t tracks = 1);

    /// Changes how much it takes to begin.
    void setEnough(Milliseconds enough) { m_enough = enough; }
    void add(Milliseconds duration, uint64_t bytes, size_t track = 0);
    /// Nothing will be added to a track any more.
    void finish(size_t track = 0);
    void finishAll();
    /// Lets time pass.
    void drain(Milliseconds time);
    /// Plays at once all that is above a level.
    void drainTo(Milliseconds level);

    /// For how long play can go on: the level of the shortest track that is not finished; when all
    /// are finished, that of the longest.
    Milliseconds level() const;
    Milliseconds trackLevel(size_t track) const { return m_tracks[track].level; }
    /// Bytes of the media in the buffer; of a piece that is being played the part that is left.
    uint64_t bytes() const;
    /// How much was played.
    Milliseconds position() const { return m_position; }
    bool isPlaying() const { return m_playing; }
    /// Whether everything was played.
    bool isDone() const;

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
    struct Track {
        std::deque<Piece> pieces;
        Milliseconds level{0};
        bool finished = false;
    };

    bool isFinished() const;
    void beginWhenReady();
    void play(Milliseconds time);
    static void playTrack(Track& track, Milliseconds time);
    void stand(Milliseconds time);

    Milliseconds m_enough;
    std::vector<Track> m_tracks;
    Milliseconds m_position{0};
    bool m_playing = false;
    bool m_begun = false;
    int m_stalls = 0;
    Milliseconds m_stallTime{0};
    Milliseconds m_startupTime{0};
};

} // namespace hastool
