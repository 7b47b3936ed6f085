// A bitrate switcher as the rule of a play.
#pragma once

#include "StreamRule.h"

#include <Hasnet/IBitrateSwitcher.h>

#include <memory>
#include <utility>

namespace hastool {

/// Lets a switcher choose by the measurement of all traffic. Nothing is given up.
class SwitcherRule : public StreamRule {
public:
    explicit SwitcherRule(std::shared_ptr<hascommon::IBitrateSwitcher> switcher)
        : m_switcher(std::move(switcher)) {}

    void configure(const Setting& setting) override;
    int choose(int current, const NextSegment& next, const Moment& moment) override;
    void begun(int, uint64_t, const Moment&) override {}
    int progress(uint64_t, const Moment&) override { return kStay; }
    void done(const Arrived&, const Moment&) override {}
    void buffered(uint64_t bytes, const Moment& moment) override;
    /// It goes by the traffic, which what comes out of a held transfer takes part in.
    bool choosesWhenFull() const override { return true; }

private:
    const std::shared_ptr<hascommon::IBitrateSwitcher> m_switcher;
};

} // namespace hastool
