#include "DemoObserver.h"

#include <hastool/base/Quantities.h>

#include <cstdio>

namespace hastool {
namespace {

/// "hls 0.83", with a mark where the play stands still.
std::string shortText(const std::string& name, const PlayStatus& status) {
    char rate[32];
    std::snprintf(rate, sizeof rate, " %.2f", status.bitrate / 1e6);
    return name + rate + (status.stalled ? "!" : "");
}

} // namespace

DemoBoard::DemoBoard(Terminal& terminal, const std::vector<std::string>& names)
    : m_terminal(terminal)
    , m_names(names)
    , m_plays(names.size()) {}

void DemoBoard::update(size_t play, const PlayStatus& status) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_plays[play] = status;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - m_begun;
    std::string text = secondsText(time.count());
    for (size_t i = 0; i < m_plays.size(); ++i)
        text += "  " + shortText(m_names[i], m_plays[i]);
    m_terminal.live(text + "  Mbit/s");
}

void DemoBoard::tell(size_t play, double time, const std::string& text) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_terminal.line(secondsText(time) + "  " + m_names[play] + ": " + text);
}

void DemoBoard::trouble(size_t play, const std::string& text) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_terminal.trouble(m_names[play] + ": " + text);
}

void DemoObserver::onStatus(const PlayStatus& status) {
    m_board.update(m_play, status);
    if (m_next != nullptr)
        m_next->onStatus(status);
}

void DemoObserver::onSegment(const TraceRow& row) {
    m_segments.push_back(row);
    if (m_next != nullptr)
        m_next->onSegment(row);
}

void DemoObserver::onSample(const PlaySample& sample) {
    if (m_next != nullptr)
        m_next->onSample(sample);
}

void DemoObserver::onEvent(double time, const std::string& kind, const std::string& what) {
    m_board.tell(m_play, time, kind + ": " + what);
    if (m_next != nullptr)
        m_next->onEvent(time, kind, what);
}

void DemoObserver::onSwitch(double time, int from, int to) {
    m_board.tell(m_play, time,
                 std::string(to > from ? "up" : "down") + " from " + rateText(from) + " to " +
                     rateText(to));
    if (m_next != nullptr)
        m_next->onSwitch(time, from, to);
}

void DemoObserver::onRendition(double time, int bitrate, const std::string& resolution) {
    if (m_next != nullptr)
        m_next->onRendition(time, bitrate, resolution);
}

void DemoObserver::onTrouble(const std::string& what) {
    m_board.trouble(m_play, what);
    if (m_next != nullptr)
        m_next->onTrouble(what);
}

} // namespace hastool
