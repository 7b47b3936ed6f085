// Walks presentations to their end without a network and without waiting.
#pragma once

#include <hastool/base/ToolError.h>
#include <hastool/formats/Presentation.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// A clock that stands still until a walk moves it on.
class WalkClock {
public:
    /// @param wall  seconds since the epoch
    explicit WalkClock(double wall = 0)
        : m_wall(wall) {}
    WalkClock(const WalkClock&) = delete;
    WalkClock& operator=(const WalkClock&) = delete;

    /// A time source that shows this clock's time; the clock has to live longer.
    hastool::TimeSource source() {
        hastool::TimeSource time;
        time.wall = [this] { return m_wall + passed(); };
        time.steady = [this] { return std::chrono::steady_clock::time_point(m_passed); };
        return time;
    }
    void pass(std::chrono::milliseconds time) { m_passed += time; }
    /// Seconds by which the walk has moved the clock on.
    double passed() const { return std::chrono::duration<double>(m_passed).count(); }

private:
    double m_wall;
    std::chrono::milliseconds m_passed{0};
};

/// The result of walking a track.
struct ManifestWalk {
    std::vector<hastool::MediaPiece> pieces;
    bool ended = false;     ///< the presentation said that there are no more pieces
    bool endless = false;   ///< there were more pieces than a walk may have
    std::string error;      ///< what ended the walk; empty without an error
    double liveSeconds = 0; ///< how long it waited, by the clock
};

/// More than any of the manifests lists.
constexpr size_t kMaxWalk = 100000;

/// Takes piece after piece, until the end, or until it has waited for `liveSeconds` on the clock.
/// @param streamStep  0 to stay with the stream; else how far to the stream of the next piece
inline ManifestWalk walk(hastool::Presentation& presentation, size_t track, size_t stream,
                         WalkClock& clock, double liveSeconds, size_t streamStep = 0) {
    using Kind = hastool::NextPiece::Kind;
    ManifestWalk result;
    const size_t streams = presentation.tracks().at(track).streams.size();
    const double begin = clock.passed();
    try {
        while (clock.passed() - begin < liveSeconds || !presentation.isLive()) {
            auto next = presentation.next(track, stream);
            stream = (stream + streamStep) % streams;
            if (next.kind == Kind::End) {
                result.ended = true;
                break;
            }
            if (next.kind == Kind::Wait)
                clock.pass(next.wait);
            else
                result.pieces.push_back(std::move(next.piece));
            result.endless = result.pieces.size() == kMaxWalk;
            if (result.endless)
                break;
        }
    } catch (const hastool::ToolError& error) {
        result.error = error.what();
    }
    result.liveSeconds = clock.passed() - begin;
    return result;
}
