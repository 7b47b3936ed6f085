// Several plays as the user watches them.
#pragma once

#include <hastool/play/Player.h>
#include <hastool/ui/Terminal.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace hastool {

/// Shows all plays of a demo: one changing line on a terminal, switches, events and trouble as
/// lines with the play's name. Any thread may call anything.
class DemoBoard {
public:
    /// @param terminal  borrowed
    DemoBoard(Terminal& terminal, const std::vector<std::string>& names);

    void update(size_t play, const PlayStatus& status);
    void tell(size_t play, double time, const std::string& text);
    void trouble(size_t play, const std::string& text);

private:
    std::mutex m_mutex; // guards everything
    Terminal& m_terminal;
    const std::vector<std::string> m_names;
    std::vector<PlayStatus> m_plays;
    const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
};

/// One play of a demo: keeps its segments, shows it, and passes everything on.
class DemoObserver : public PlayObserver {
public:
    /// @param board  borrowed
    /// @param play   its number on the board
    /// @param next   is told everything too, borrowed; may be null
    DemoObserver(DemoBoard& board, size_t play, PlayObserver* next)
        : m_board(board)
        , m_play(play)
        , m_next(next) {}

    const std::vector<TraceRow>& segments() const { return m_segments; }

    void onStatus(const PlayStatus& status) override;
    void onSegment(const TraceRow& row) override;
    void onSample(const PlaySample& sample) override;
    void onEvent(double time, const std::string& kind, const std::string& what) override;
    void onSwitch(double time, int from, int to) override;
    void onRendition(double time, int bitrate, const std::string& resolution) override;
    void onTrouble(const std::string& what) override;

private:
    DemoBoard& m_board;
    const size_t m_play;
    PlayObserver* const m_next;
    std::vector<TraceRow> m_segments;
};

} // namespace hastool
