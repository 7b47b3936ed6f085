// The rule by buffer, as players use it.
#pragma once

#include "PublishedRule.h"
#include "SafeSize.h"

#include <vector>

namespace hastool {

/// BOLA-E: BOLA with a buffer that is in part imagined, so that it begins high and waits without
/// loss, with the rule of insufficient buffers and its own way of giving transfers up. (Spiteri,
/// Sitaraman, Sparacio, "From Theory to Practice: Improving Bitrate Adaptation in the DASH
/// Reference Player", MMSys 2018)
class BolaERule : public PublishedRule {
public:
    /// @param isDamped  whether it goes up to what the throughput bears at most
    explicit BolaERule(bool isDamped)
        : m_isDamped(isDamped) {}

    void configure(const Setting& setting) override;
    Choice decide(const Question& question) override;
    bool watch(const Underway& transfer) override;
    void begun(int stream, uint64_t bytes, const Moment& moment) override;
    void done(const Arrived& arrived, const Moment& moment) override;
    void held(Time time) override;

private:
    double utility(int stream) const { return m_utilities[static_cast<size_t>(stream)]; }
    double weigh(int stream, double level, double bits) const;
    void setControl();
    int streamForLevel(double level) const;
    double leastLevel(int stream) const;
    double mostLevel(int stream) const;
    Choice begin(double level);
    double spend(int stream, double level);
    void lower(Choice& choice, double level);
    int heavierThan(double level, double left, const Underway& transfer) const;

    const bool m_isDamped;
    std::vector<double> m_utilities;
    double m_gamma = 0;
    double m_control = 0; ///< seconds of buffer per utility
    bool m_isSteady = false;
    double m_imagined = 0; ///< seconds of buffer
    int m_last = 0;
    int m_fetched = 0;  ///< the stream under way
    double m_begun = 0; ///< when it was asked for
    SafeSize m_safeSize;
};

} // namespace hastool
