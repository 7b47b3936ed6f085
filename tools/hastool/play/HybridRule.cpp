#include "HybridRule.h"

#include "RuleUnits.h"

namespace hastool {
namespace {

long long inMs(StreamRule::Time time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

} // namespace

void HybridRule::configure(const Setting& setting) {
    m_switcher->Init(setting.checker);
    m_switcher->SetSwitchParam(setting.upTimer, setting.marginKbps);
    m_switcher->SetBitrateLimit(setting.groups, setting.limits);
    m_switcher->ResetData(setting.bitrates, false);
    m_switcher->SetAudioBitrate(setting.audioBitrate);
    if (setting.bufferGoal.count() > 0)
        m_switcher->SetBufferGoal(inMs32(setting.bufferGoal));
}

int HybridRule::choose(int current, const NextSegment& next, const Moment& moment) {
    m_switcher->SetSegmentDuration(inMs32(next.duration));
    m_sizes.assign(next.bytes.begin(), next.bytes.end());
    m_switcher->SetNextSizes(m_sizes);
    return m_switcher->ProcessAdaptiveSeg(current, inMs32(moment.buffer));
}

void HybridRule::begun(int stream, uint64_t bytes, const Moment& moment) {
    m_switcher->SegmentBegun(stream, bytes, inMs32(moment.buffer), inMs(moment.now));
}

int HybridRule::progress(uint64_t received, const Moment& moment) {
    return m_switcher->SegmentProgress(received, inMs32(moment.buffer), inMs(moment.now));
}

void HybridRule::done(const Arrived& arrived, const Moment& moment) {
    m_switcher->SegmentDone(arrived.bytes, inMs32(arrived.latency), inMs32(moment.buffer),
                            inMs(moment.now));
}

void HybridRule::buffered(uint64_t bytes, const Moment& moment) {
    m_switcher->ProcessAdaptiveSegLevel(inBytes32(bytes), inMs32(moment.buffer), false);
}

} // namespace hastool
