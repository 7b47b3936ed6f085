// A network that is computed.
#pragma once

#include "Fetcher.h"
#include "LineRate.h"
#include "VirtualClock.h"

#include <Hasnet/IDownloadEvent.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace hastool {

/// What a server would send.
struct VirtualAnswer {
    std::string bytes;
    uint64_t size = 0;         ///< for a body of zeros, in place of `bytes`: how many
    std::string failure;       ///< why there is no body, "HTTP 404"; empty where there is one
    double bytesPerSecond = 0; ///< at which the body is made; 0 where it is there as a whole
    std::chrono::milliseconds delay{0}; ///< before the body begins, beyond the line's latency
};

/// Answers requests, at the moment they are made.
using VirtualOrigin = std::function<VirtualAnswer(const Resource& resource)>;

/// A line whose rate is shared evenly by the transfers under way, in virtual time: wait() moves the
/// clock to the next event. Nothing depends on the machine, so the same play always gives the same
/// result. The bandwidth checker is told of incoming bytes as the download engine tells it.
class VirtualLine : public Fetcher {
public:
    struct Options {
        LineRates rates;
        std::chrono::milliseconds latency{0}; ///< from a request to the first byte
    };

    /// @param clock    is moved by wait(), borrowed
    /// @param traffic  is told of all bytes that come in, borrowed
    VirtualLine(Options options, VirtualOrigin origin, VirtualClock& clock,
                hascommon::IDownloadEvent& traffic);

    Id begin(const Resource& resource, ByteSink& sink) override;
    Id beginAside(const Resource& resource, ByteSink& sink) override;
    const Outcome* outcome(Id id) const override;
    uint64_t received(Id id) const override { return m_transfers.at(id).delivered; }
    uint64_t expected(Id id) const override;
    void forget(Id id) override { m_transfers.erase(id); }
    void cancel(Id id) override;
    void hold(bool held) override;
    bool isHeld() const override { return m_held; }
    void cancelAll() override;
    void wait(Clock::TimePoint until) override;

private:
    struct Transfer {
        std::string url;
        ByteSink* sink = nullptr;
        bool isAside = false; ///< not held, not measured
        VirtualAnswer answer;
        uint64_t size = 0; ///< of the body
        Clock::TimePoint begun;
        Clock::TimePoint firstByte;
        Clock::TimePoint lastByte; ///< when bytes were told of last; before that, the begin
        double arrived = 0;        ///< bytes so far, and a fraction of the next one
        uint64_t delivered = 0;
        std::optional<Outcome> outcome;
    };

    bool isFlowing(const Transfer& transfer) const;
    size_t countFlowing() const;
    double bytesPerMicrosecond() const;
    double speedOf(const Transfer& transfer) const;
    Clock::TimePoint nextRate() const;
    Clock::TimePoint nextMoment(Clock::TimePoint until) const;
    bool moveTo(Clock::TimePoint time);
    void receive(Transfer& transfer);
    bool deliver(Transfer& transfer, uint64_t bytes);
    void tellTraffic(const Transfer& transfer, uint64_t bytes);
    void end(Transfer& transfer, const std::string& failure);

    const Options m_options;
    const VirtualOrigin m_origin;
    VirtualClock& m_clock;
    hascommon::IDownloadEvent& m_traffic;
    const Clock::TimePoint m_begun; ///< when the first rate begins
    std::map<Id, Transfer> m_transfers;
    Id m_nextId = 1;
    bool m_held = false;
    std::optional<Clock::TimePoint> m_resumed;
};

} // namespace hastool
