// What is seen of a simulated play.
#pragma once

#include "Movie.h"
#include "PlayFigures.h"

#include <cstddef>
#include <deque>
#include <optional>

namespace hastool {

/// The buffer of a simulated player and what its viewer sees. Times are microseconds, in fractions
/// too.
class ViewedPlay {
public:
    /// @param movie  borrowed
    explicit ViewedPlay(const Movie& movie);

    /// A segment has come.
    void add(size_t segment, size_t stream);
    /// Lets time pass: media is played, or play stands still.
    void pass(double time);
    /// Plays all that there is.
    void playOut();

    bool isPlaying() const { return m_isPlaying; }
    double now() const { return m_now; }
    /// Media that was fetched and not yet played.
    double level() const { return m_level; }
    /// Bytes of the media in the buffer.
    uint64_t bytes() const { return m_bytes; }
    /// How long play has stood still since its begin.
    double stallTime() const { return m_stallTime; }
    /// What was seen; to be asked for when all was played.
    PlayFigures figures() const;

private:
    /// A segment in the buffer.
    struct Held {
        size_t segment;
        size_t stream;
        double left; ///< of its media
    };

    void play(double time);
    void stand(double time);
    void begin(const Held& held);

    const Movie& m_movie;
    double m_meanDuration = 0; ///< of a segment
    std::deque<Held> m_held;
    double m_level = 0;
    uint64_t m_bytes = 0;
    double m_now = 0;
    bool m_isPlaying = false;
    bool m_hasBegun = false;
    bool m_hasAll = false;
    double m_startup = 0;
    double m_stallTime = 0;
    int m_stalls = 0;
    double m_utility = 0; ///< times duration, as the next one
    double m_bitrate = 0;
    double m_change = 0; ///< sum of the changes
    int m_switches = 0;
    std::optional<size_t> m_stream; ///< that is played
    bool m_isHeadBegun = false;     ///< the first one of m_held is being played
};

} // namespace hastool
