// The rule by buffer.
#pragma once

#include "PublishedRule.h"

#include <vector>

namespace hastool {

/// BOLA: each buffer level has its stream, the one that weighs most by utility and size. It goes up
/// no further than one above what the throughput bears. (Spiteri, Urgaonkar, Sitaraman, "BOLA:
/// Near-Optimal Bitrate Adaptation for Online Videos", INFOCOM 2016)
class BolaRule : public PublishedRule {
public:
    /// @param isDamped  whether it goes up to what the throughput bears at most, and waits there
    explicit BolaRule(bool isDamped)
        : m_isDamped(isDamped) {}

    void configure(const Setting& setting) override;
    Choice decide(const Question& question) override;
    bool watch(const Underway& transfer) override;

private:
    double utility(int stream) const { return m_utilities[static_cast<size_t>(stream)]; }
    double weigh(int stream, double level, double bits) const;
    int streamForLevel(double level) const;
    Choice limit(int stream, double level) const;
    int heavierThan(double weight, double left, const Underway& transfer) const;

    const bool m_isDamped;
    std::vector<double> m_utilities;
    double m_control = 0; ///< V times the segment's duration: seconds of buffer per utility
    int m_last = 0;
};

} // namespace hastool
