// The rule by throughput.
#pragma once

#include "PublishedRule.h"
#include "SafeSize.h"

namespace hastool {

/// THROUGHPUT: the highest stream within nine tenths of the estimate, lower where the buffer would
/// run out first. A transfer that would take 1.8 segments' time is given up. (Spiteri, Sitaraman,
/// Sparacio, "From Theory to Practice: Improving Bitrate Adaptation in the DASH Reference Player",
/// MMSys 2018)
class ThroughputRule : public PublishedRule {
public:
    Choice decide(const Question& question) override;
    bool watch(const Underway& transfer) override;

private:
    SafeSize m_safeSize;
};

} // namespace hastool
