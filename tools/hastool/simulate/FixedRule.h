// The rule that always takes the same stream.
#pragma once

#include <hastool/play/StreamRule.h>

namespace hastool {

/// Stays at one stream, or the highest that there is below it.
class FixedRule : public StreamRule {
public:
    explicit FixedRule(int stream)
        : m_wanted(stream) {}

    void configure(const Setting& setting) override {
        m_highest = static_cast<int>(setting.bitrates.size()) - 1;
    }
    int choose(int current, const NextSegment&, const Moment&) override {
        const int stream = m_wanted < m_highest ? m_wanted : m_highest;
        return stream == current ? kStay : stream;
    }
    void begun(int, uint64_t, const Moment&) override {}
    int progress(uint64_t, const Moment&) override { return kStay; }
    void done(const Arrived&, const Moment&) override {}

private:
    const int m_wanted;
    int m_highest = 0;
};

} // namespace hastool
