// The callbacks that a player gets from the library.
#pragma once

#include <Hasutil/CPlayerSupport.h>

#include <functional>
#include <string>

namespace hastool {

/// Registers with the library's hub of player callbacks, and puts each callback into words.
class PlayerCallbacks {
public:
    /// @param kind  "discontinuity", "ad-start", "ad-end", "event", "drm-error" or
    ///              "output-protection"
    using Tell = std::function<void(const std::string& kind, const std::string& what)>;
    /// @param from, to  bits per second
    using Switched = std::function<void(int from, int to)>;

    PlayerCallbacks(Tell tell, Switched switched);
    PlayerCallbacks(const PlayerCallbacks&) = delete;
    PlayerCallbacks& operator=(const PlayerCallbacks&) = delete;

    /// The hub to notify.
    hascommon::CPlayerSupport& hub() { return m_hub; }

    /// How many units of a time stamp (ISO/IEC 13818-1) make a millisecond.
    static constexpr unsigned long long kTimestampsPerMs = 90;

private:
    void registerMarks();
    void registerMessages();

    hascommon::CPlayerSupport m_hub;
    Tell m_tell;
    Switched m_switched;
};

} // namespace hastool
