// A play as the user watches it.
#pragma once

#include "Terminal.h"
#include <hastool/play/Player.h>

namespace hastool {

/// Shows a play: one changing line on a terminal, a line per segment elsewhere; switches and
/// trouble always.
class PlayProgress : public PlayObserver {
public:
    /// @param terminal  borrowed
    explicit PlayProgress(Terminal& terminal)
        : m_terminal(terminal) {}

    void onStatus(const PlayStatus& status) override;
    void onSegment(const TraceRow& row) override;
    void onSample(const PlaySample&) override {}
    void onEvent(double time, const std::string& kind, const std::string& what) override;
    void onSwitch(double time, int from, int to) override;
    void onRendition(double time, int bitrate, const std::string& resolution) override;
    void onTrouble(const std::string& what) override;

private:
    Terminal& m_terminal;
};

} // namespace hastool
