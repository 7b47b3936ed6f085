// What the published rules have in common.
#pragma once

#include "RateEstimate.h"
#include <hastool/play/StreamRule.h>

#include <cstdint>
#include <vector>

namespace hastool {

/// A rule from the literature, for comparison. It knows the streams' bitrates and estimates the
/// line; sizes of single segments are used where a paper uses them. Limits, margins and audio are
/// not for these rules. Times are seconds here.
class PublishedRule : public StreamRule {
public:
    void configure(const Setting& setting) override;
    int choose(int current, const NextSegment& next, const Moment& moment) final;
    Time pause() const override;
    void begun(int stream, uint64_t bytes, const Moment& moment) override;
    /// A segment that is given up is chosen for anew, which may end at the same stream.
    int progress(uint64_t received, const Moment& moment) override;
    void done(const Arrived& arrived, const Moment& moment) override;
    /// Whether the rule does not want the transfer to go on.
    bool givesUp(uint64_t received, const Moment& moment);

protected:
    /// A stream, and how long to wait before it is fetched.
    struct Choice {
        int stream = 0;
        double pause = 0;
    };
    /// What a rule may know when it chooses.
    struct Question {
        double level = 0; ///< of the buffer
        uint64_t index = 0;
        uint64_t left = 0;
    };
    /// A transfer under way.
    struct Underway {
        int stream = 0;
        double bits = 0;     ///< of the whole segment
        double received = 0; ///< bits
        double time = 0;     ///< since the request
        double latency = 0;  ///< part of the time
        double level = 0;    ///< of the buffer
    };

    virtual Choice decide(const Question& question) = 0;
    /// @return whether the transfer is given up; what follows is then decided anew
    virtual bool watch(const Underway& transfer) = 0;

    int streams() const { return static_cast<int>(m_bitrates.size()); }
    double bitrate(int stream) const { return m_bitrates[static_cast<size_t>(stream)]; }
    const RateEstimate& estimate() const { return m_estimate; }
    double segment() const { return m_segment; }
    double goal() const { return m_goal; }
    /// The highest stream whose segments come within their own duration, latency included.
    int streamForRate(double bitsPerSecond) const;

    static double seconds(Time time) { return static_cast<double>(time.count()) / 1e6; }

private:
    std::vector<double> m_bitrates; ///< bits per second
    double m_goal = 0;              ///< of the buffer
    double m_segment = 0;           ///< duration of one
    RateEstimate m_estimate;
    Question m_question; ///< of the segment that is fetched
    Underway m_underway;
    double m_requested = 0; ///< when
    double m_pause = 0;
};

} // namespace hastool
