// The network as a play sees it.
#pragma once

#include "Clock.h"
#include <hastool/base/ByteSink.h>
#include <hastool/net/ByteRange.h>
#include <hastool/net/Downloader.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace hastool {

/// Runs transfers. Only wait() blocks.
class Fetcher {
public:
    using Id = int;
    /// Is told of a repetition: "7.ts: retry 3 of 20, HTTP 404".
    using RetryHook = std::function<void(const std::string& what)>;

    virtual ~Fetcher() = default;

    void onRetry(RetryHook hook) { m_retryHook = std::move(hook); }

    /// Begins a transfer. The sink is borrowed until it has ended.
    virtual Id begin(const Resource& resource, ByteSink& sink) = 0;
    /// Likewise for what no one waits for: it is not held, not measured, hardly ever repeated, and
    /// its failures do not hold up the other transfers.
    virtual Id beginAside(const Resource& resource, ByteSink& sink) = 0;
    /// How a transfer ended; null while it has not.
    virtual const Outcome* outcome(Id id) const = 0;
    /// The bytes of a transfer so far.
    virtual uint64_t received(Id id) const = 0;
    /// How many there will be; 0 where that is not known (yet).
    virtual uint64_t expected(Id id) const = 0;
    /// Forgets a transfer that has ended.
    virtual void forget(Id id) = 0;
    /// Ends a transfer that has not ended; its outcome comes as that of any other.
    virtual void cancel(Id id) = 0;
    /// Holds all transfers but those aside, those that begin later too, or lets them go on.
    virtual void hold(bool held) = 0;
    virtual bool isHeld() const = 0;
    /// Ends everything that has not ended; no sink is written to afterwards.
    virtual void cancelAll() = 0;
    /// Lets time pass until a transfer ends, or until a moment if none ends before.
    virtual void wait(Clock::TimePoint until) = 0;

protected:
    void tellRetry(const std::string& what) const {
        if (m_retryHook)
            m_retryHook(what);
    }

private:
    RetryHook m_retryHook;
};

} // namespace hastool
