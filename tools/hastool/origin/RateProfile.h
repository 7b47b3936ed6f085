// The rate of a line over time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// A rate that changes in steps, and begins again with the first when the last one is over. The
/// object never changes.
class RateProfile {
public:
    /// A stretch of time with one rate.
    struct Step {
        double seconds = 0; ///< how long
        double kbps = 0;    ///< thousands of bits per second; 0 while nothing gets through
        double latency = 0; ///< seconds from a request to the first byte of its answer
    };

    /// @throws ToolError, with `where`, without steps or with too many; for a number that is
    ///         negative, not finite or too large; and for a profile that takes no time or never
    ///         lets anything through
    RateProfile(std::vector<Step> steps, const std::string& where);

    /// Reads either of:
    /// - CSV lines "time_s,kbps" with the rate from that time on, the first time 0. The first line
    ///   may name the columns. A last line with only a time is the end; without one the last rate
    ///   lasts as long as the one before it.
    /// - a JSON list of objects with `duration_ms`, `bandwidth_kbps` and perhaps `latency_ms`.
    /// @param where  names the text in messages. @throws ToolError
    static RateProfile parse(const std::string& text, const std::string& where);
    /// @throws ToolError also when the file cannot be read
    static RateProfile load(const std::string& path);

    const std::vector<Step>& steps() const { return m_steps; }
    /// Seconds until it begins anew.
    double duration() const { return m_ends.back().seconds; }
    double meanKbps() const { return m_ends.back().bytes / duration() / kBytesPerKbps; }

    /// The step at a time in seconds, not negative.
    const Step& at(double time) const;
    /// How many bytes can go over the line until a time.
    double bytesUntil(double time) const;
    /// When so many bytes have gone over the line: the inverse of bytesUntil().
    double timeOf(double bytes) const;

    static constexpr double kBytesPerKbps = 1000.0 / 8;

private:
    /// Time and bytes at the end of a step.
    struct End {
        double seconds;
        double bytes;
    };

    End begin(size_t step) const { return step == 0 ? End{0, 0} : m_ends[step - 1]; }
    size_t stepAt(double time) const;

    std::vector<Step> m_steps;
    std::vector<End> m_ends;
};

} // namespace hastool
