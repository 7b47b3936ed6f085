// Requests and responses for eyes.
#pragma once

#include <Hasnet/DownloadFailure.h>

#include <chrono>
#include <string>
#include <vector>

namespace hastool {

/// How much is told on standard error.
enum class Verbosity {
    None,
    Transfers, ///< requests, responses and timings
    Library    ///< the library's log besides
};

/// Tells of transfers on standard error, a line at a time, as -v asks for. URLs are shown by
/// withoutSecrets(); so are Authorization and Cookie lines, without their values, and nothing gets
/// through that would control a terminal.
class TransferTrace {
public:
    /// With Verbosity::Library the library's log goes the same way for the object's lifetime; there
    /// may be one such object at a time.
    explicit TransferTrace(Verbosity verbosity);
    ~TransferTrace();
    TransferTrace(const TransferTrace&) = delete;
    TransferTrace& operator=(const TransferTrace&) = delete;

    bool isOn() const { return m_verbosity != Verbosity::None; }

    /// @param range    "A-B", empty for the whole
    /// @param headers  lines of the user's and the tool's own
    void request(int id, const std::string& url, const std::string& range, const std::string& agent,
                 const std::vector<std::string>& headers) const;
    /// @param headerLines  as the engine tells them
    void response(int id, const std::string& headerLines) const;
    /// @param time  of the attempt
    void ending(int id, const hascommon::DownloadFailure& how, std::chrono::microseconds time,
                unsigned long long bytes, const std::string& result) const;

private:
    const Verbosity m_verbosity;
};

/// A header line as it is shown: "Cookie: ...".
std::string shownHeader(const std::string& line);

} // namespace hastool
