// The rule that goes by throughput or buffer.
#pragma once

#include "BolaRule.h"
#include "ThroughputRule.h"

namespace hastool {

/// DYNAMIC: THROUGHPUT while little is buffered, BOLA above. (Spiteri, Sitaraman, Sparacio, "From
/// Theory to Practice: Improving Bitrate Adaptation in the DASH Reference Player", MMSys 2018)
class DynamicRule : public StreamRule {
public:
    explicit DynamicRule(bool isDamped)
        : m_bola(isDamped) {}

    void configure(const Setting& setting) override;
    int choose(int current, const NextSegment& next, const Moment& moment) override;
    Time pause() const override { return m_isByBuffer ? m_bola.pause() : m_throughput.pause(); }
    void begun(int stream, uint64_t bytes, const Moment& moment) override;
    int progress(uint64_t received, const Moment& moment) override;
    void done(const Arrived& arrived, const Moment& moment) override;

private:
    ThroughputRule m_throughput;
    BolaRule m_bola;
    NextSegment m_next; ///< that is fetched
    int m_fetched = 0;  ///< its stream
    bool m_isByBuffer = false;
};

} // namespace hastool
