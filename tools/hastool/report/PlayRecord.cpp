#include "PlayRecord.h"

#include <hastool/base/Quantities.h>

#include <algorithm>

namespace hastool {

void PlayRecord::Ranges::step(double time, bool isSo) {
    if (isOpen)
        list.back().end = time;
    else if (isSo && list.size() < kMaxEvents)
        list.push_back({time, time});
    isOpen = isSo && !list.empty() && list.back().end >= time;
}

void PlayRecord::reach(double time) {
    m_end = std::max(m_end, time);
}

void PlayRecord::onStatus(const PlayStatus&) {}

void PlayRecord::onSegment(const TraceRow& row) {
    reach(row.time);
    if (m_firstBitrate == 0 && !row.isAudio && !row.isText)
        m_firstBitrate = row.bitrate;
    if (m_segments.size() < kMaxSegments)
        m_segments.push_back(row);
    else
        ++m_segmentsLeftOut;
}

void PlayRecord::onSample(const PlaySample& sample) {
    reach(sample.time);
    if (m_firstBitrate == 0)
        m_firstBitrate = sample.bitrate;
    m_stalls.step(sample.time, sample.stalled && !sample.paused);
    m_pauses.step(sample.time, sample.paused);
    m_holds.step(sample.time, sample.transferHeld);
    keepSample(sample);
}

void PlayRecord::keepSample(const PlaySample& sample) {
    if (m_sampleCount++ % m_every != 0)
        return;
    m_samples.push_back(sample);
    if (m_samples.size() < kMaxSamples)
        return;
    for (size_t i = 0; i < kMaxSamples / 2; ++i)
        m_samples[i] = m_samples[2 * i];
    m_samples.resize(kMaxSamples / 2);
    m_every *= 2;
}

void PlayRecord::onEvent(double time, const std::string& kind, const std::string& what) {
    reach(time);
    if (m_events.size() < kMaxEvents)
        m_events.push_back({time, kind, what});
    else
        ++m_eventsLeftOut;
}

void PlayRecord::onSwitch(double time, int from, int to) {
    if (m_firstBitrate == 0)
        m_firstBitrate = from;
    if (m_switches.size() < kMaxEvents)
        m_switches.push_back({time, from, to});
    onEvent(time, "bitrate",
            std::string(to > from ? "up" : "down") + " from " + rateText(from) + " to " +
                rateText(to));
}

void PlayRecord::onRendition(double time, int bitrate, const std::string& resolution) {
    onEvent(time, "picture", rateText(bitrate) + " is " + resolution);
}

void PlayRecord::onTrouble(const std::string& what) {
    onEvent(m_end, "trouble", what);
}

} // namespace hastool
