// The hybrid switcher as the rule of a play.
#pragma once

#include "StreamRule.h"

#include <Hasnet/HybridSegSwitcher.h>

#include <memory>
#include <utility>
#include <vector>

namespace hastool {

/// Tells the switcher of each transfer, and lets it give one up.
class HybridRule : public StreamRule {
public:
    explicit HybridRule(std::shared_ptr<hascommon::HybridSegSwitcher> switcher)
        : m_switcher(std::move(switcher)) {}

    void configure(const Setting& setting) override;
    int choose(int current, const NextSegment& next, const Moment& moment) override;
    void begun(int stream, uint64_t bytes, const Moment& moment) override;
    int progress(uint64_t received, const Moment& moment) override;
    void done(const Arrived& arrived, const Moment& moment) override;
    void buffered(uint64_t bytes, const Moment& moment) override;

private:
    const std::shared_ptr<hascommon::HybridSegSwitcher> m_switcher;
    std::vector<unsigned long long> m_sizes; ///< of the next segment; kept for its memory
};

} // namespace hastool
