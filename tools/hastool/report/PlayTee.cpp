#include "PlayTee.h"

#include <utility>

namespace hastool {

PlayTee::PlayTee(std::vector<PlayObserver*> observers)
    : m_observers(std::move(observers)) {}

void PlayTee::onStatus(const PlayStatus& status) {
    for (PlayObserver* const it : m_observers)
        it->onStatus(status);
}

void PlayTee::onSegment(const TraceRow& row) {
    for (PlayObserver* const it : m_observers)
        it->onSegment(row);
}

void PlayTee::onSample(const PlaySample& sample) {
    for (PlayObserver* const it : m_observers)
        it->onSample(sample);
}

void PlayTee::onEvent(double time, const std::string& kind, const std::string& what) {
    for (PlayObserver* const it : m_observers)
        it->onEvent(time, kind, what);
}

void PlayTee::onSwitch(double time, int from, int to) {
    for (PlayObserver* const it : m_observers)
        it->onSwitch(time, from, to);
}

void PlayTee::onRendition(double time, int bitrate, const std::string& resolution) {
    for (PlayObserver* const it : m_observers)
        it->onRendition(time, bitrate, resolution);
}

void PlayTee::onTrouble(const std::string& what) {
    for (PlayObserver* const it : m_observers)
        it->onTrouble(what);
}

} // namespace hastool
