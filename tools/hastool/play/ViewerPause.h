// A viewer who pauses once.
#pragma once

#include <chrono>

namespace hastool {

/// Tells at each step of a play whether the viewer has it paused: from a position on, for a while.
class ViewerPause {
public:
    using Milliseconds = std::chrono::milliseconds;
    enum class Change { None, Begun, Ended };

    /// Never pauses.
    ViewerPause() = default;
    ViewerPause(Milliseconds position, Milliseconds time)
        : m_position(position)
        , m_left(time) {}

    /// @param position  of the play
    /// @param passed    time since the last call
    Change step(Milliseconds position, Milliseconds passed);
    bool isPaused() const { return m_paused; }

private:
    Milliseconds m_position = Milliseconds::max();
    Milliseconds m_left{0};
    bool m_paused = false;
};

} // namespace hastool
