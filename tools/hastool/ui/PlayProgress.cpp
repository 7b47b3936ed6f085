#include "PlayProgress.h"

#include <hastool/base/Quantities.h>

namespace hastool {
namespace {

std::string measured(unsigned bandwidth) {
    return bandwidth == 0 ? "not measured" : rateText(bandwidth);
}

/// A single media playlist gives no bitrate, so before the first segment it is not known.
std::string bitrateText(int bitrate) {
    return bitrate == 0 ? "at a bitrate not measured yet" : rateText(bitrate);
}

std::string sized(const std::string& resolution) {
    return resolution.empty() ? "" : " " + resolution;
}

std::string behindLive(double distance) {
    return distance > 0 ? "  behind live " + secondsText(distance) : "";
}

std::string stalled(const TraceRow& row) {
    if (row.stalls == 0)
        return "";
    return "  stalls " + std::to_string(row.stalls) + ", " + secondsText(row.stallTime);
}

const char* stateText(const PlayStatus& status) {
    if (status.paused)
        return " PAUSED";
    return status.stalled ? " STALLED" : "";
}

std::string kindText(const TraceRow& row) {
    return row.isText ? "  subtitle " : row.isAudio ? "  audio " : "  ";
}

} // namespace

void PlayProgress::onStatus(const PlayStatus& status) {
    m_terminal.live(secondsText(status.position) + stateText(status) + "  buffer " +
                    secondsText(status.buffer) + "  playing " + bitrateText(status.bitrate) +
                    sized(status.resolution) + "  bandwidth " + measured(status.bandwidth) +
                    "  switches " + std::to_string(status.switches) +
                    behindLive(status.liveDistance));
}

void PlayProgress::onSegment(const TraceRow& row) {
    if (m_terminal.isLive() || row.skipped)
        return;
    m_terminal.line(secondsText(row.time) + kindText(row) + "segment " + std::to_string(row.index) +
                    "  " + rateText(row.bitrate) + sized(row.resolution) + "  " +
                    sizeText(static_cast<double>(row.bytes)) + " in " + secondsText(row.download) +
                    "  buffer " + secondsText(row.buffer) + "  bandwidth " + measured(row.mean) +
                    behindLive(row.liveDistance) + stalled(row));
}

void PlayProgress::onSwitch(double time, int from, int to) {
    m_terminal.line(secondsText(time) + "  " + (to > from ? "up" : "down") + " from " +
                    rateText(from) + " to " + rateText(to));
}

void PlayProgress::onRendition(double time, int bitrate, const std::string& resolution) {
    m_terminal.line(secondsText(time) + "  " + rateText(bitrate) + " is " + resolution);
}

void PlayProgress::onEvent(double time, const std::string& kind, const std::string& what) {
    m_terminal.line(secondsText(time) + "  " + kind + ": " + what);
}

void PlayProgress::onTrouble(const std::string& what) {
    m_terminal.trouble(what);
}

} // namespace hastool
