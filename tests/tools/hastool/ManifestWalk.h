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

    /// Goes by this clock, which has to live longer.
    hastool::TimeSource source() {
        hastool::TimeSource time;
        time.wall = [this] { return m_wall + passed(); };
        time.steady = [this] { return std::chrono::steady_clock::time_point(m_passed); };
        return time;
    }
    void pass(std::chrono::milliseconds time) { m_passed += time; }
    /// Seconds since it was set.
    double passed() const { return std::chrono::duration<double>(m_passed).count(); }

private:
    double m_wall;
    std::chrono::milliseconds m_passed{0};
};

/// What a walk of a track came across.
struct ManifestWalk {
    std::vector<hastool::MediaPiece> pieces;
    bool ended = false;     ///< by the presentation
    bool endless = false;   ///< there were more pieces than a walk may have
    std::string error;      ///< that ended it
    double liveSeconds = 0; ///< that were waited for, by the clock
};

/// More than any of the manifests lists.
constexpr size_t kMaxWalk = 100000;

/// Takes piece after piece of a stream, or of another stream each time, until the end, or until so
/// many seconds have been waited for on the clock.
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
