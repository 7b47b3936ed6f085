#include "PublishedRule.h"

#include <algorithm>
#include <cmath>

namespace hastool {

void PublishedRule::configure(const Setting& setting) {
    m_bitrates.assign(setting.bitrates.begin(), setting.bitrates.end());
    m_goal = seconds(setting.bufferGoal);
    m_estimate = RateEstimate();
    m_segment = 0;
}

int PublishedRule::choose(int current, const NextSegment& next, const Moment& moment) {
    if (next.duration.count() > 0)
        m_segment = seconds(next.duration);
    if (m_bitrates.empty())
        return kStay;
    m_question = {seconds(moment.buffer), next.index, next.left};
    const Choice choice = decide(m_question);
    m_pause = choice.pause;
    return choice.stream == current ? kStay : choice.stream;
}

StreamRule::Time PublishedRule::pause() const {
    return Time(std::llround(m_pause * 1e6));
}

void PublishedRule::begun(int stream, uint64_t bytes, const Moment& moment) {
    m_requested = seconds(moment.now);
    m_underway.stream = stream;
    m_underway.bits = static_cast<double>(bytes) * 8;
}

bool PublishedRule::givesUp(uint64_t received, const Moment& moment) {
    m_underway.received = static_cast<double>(received) * 8;
    m_underway.time = seconds(moment.now) - m_requested;
    // The first byte's own time is not told before the end: it is taken to be as before.
    m_underway.latency = std::min(m_estimate.latency(), m_underway.time);
    m_underway.level = seconds(moment.buffer);
    return m_underway.bits > m_underway.received && watch(m_underway);
}

int PublishedRule::progress(uint64_t received, const Moment& moment) {
    if (!givesUp(received, moment))
        return kStay;
    m_question.level = seconds(moment.buffer);
    const Choice choice = decide(m_question);
    m_pause = choice.pause;
    return choice.stream;
}

void PublishedRule::done(const Arrived& arrived, const Moment& moment) {
    const double time = seconds(moment.now) - m_requested;
    const double latency = seconds(arrived.latency);
    m_segment = seconds(arrived.duration);
    m_estimate.add(static_cast<double>(arrived.bytes) * 8, time - latency, latency, m_segment);
}

int PublishedRule::streamForRate(double bitsPerSecond) const {
    int stream = 0;
    while (stream + 1 < streams() &&
           m_estimate.latency() + m_segment * bitrate(stream + 1) / bitsPerSecond <= m_segment)
        ++stream;
    return stream;
}

} // namespace hastool
