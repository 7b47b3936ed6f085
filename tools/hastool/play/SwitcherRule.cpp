#include "SwitcherRule.h"

#include "RuleUnits.h"

namespace hastool {

void SwitcherRule::configure(const Setting& setting) {
    m_switcher->Init(setting.checker);
    m_switcher->SetSwitchParam(setting.upTimer, setting.marginKbps);
    m_switcher->SetBitrateLimit(setting.groups, setting.limits);
    m_switcher->ResetData(setting.bitrates, false);
    m_switcher->SetAudioBitrate(setting.audioBitrate);
}

int SwitcherRule::choose(int current, const NextSegment&, const Moment& moment) {
    return m_switcher->ProcessAdaptiveSeg(current, inMs32(moment.buffer));
}

void SwitcherRule::buffered(uint64_t bytes, const Moment& moment) {
    m_switcher->ProcessAdaptiveSegLevel(inBytes32(bytes), inMs32(moment.buffer), false);
}

} // namespace hastool
