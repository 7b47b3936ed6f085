// How a request's libcurl handle is set up.
#pragma once

#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hasnet/CHttpCookie.h>
#include <Hasnet/detail/EasyOptions.h>
#include <Hasnet/detail/UnitTable.h>

#include <atomic>
#include <string>
#include <vector>

namespace hascommon::detail {

/// The owner's options, and what makes a prepared unit's easy handle ready for the pass: options,
/// cookie and header lines. Any thread may call.
class RequestSetup {
public:
    /// @param callbacks    what libcurl calls for a transfer
    /// @param highSockets  is set when libcurl opens a socket that select cannot wait for
    RequestSetup(UrlInfoTable& urlInfo, CHttpCookie& cookieJar, const EasyCallbacks& callbacks,
                 std::atomic<bool>& highSockets);

    /// Changes an option for later requests.
    template<typename Value>
    void Set(Value RequestOptions::*option, const Value& value) {
        const LockGuard<Mutex> guard(m_mutex);
        m_options.*option = value;
    }
    /// Adds an extra header line; without memory there are none at all, and false is returned.
    bool AddHeaderLine(const std::string& line);
    /// Replaces the owner's own lines, which stand behind the others. @return as above; false, too,
    /// for what is no header line, and then nothing changes
    bool SetOwnerLines(const std::vector<std::string>& lines);
    void ForgetHeaderLines();

    /// Starts the unit's times and sets its handle up. Called by the thread that begins the
    /// request, before the pass has it.
    void SetBodyEasyDownloadOPT(UnitObject* unit);

    std::atomic<unsigned int> engineInfo{0};
    std::atomic<int> connTimeout{0};     ///< seconds; kept, not used
    std::atomic<int> lowSpeedTimeout{0}; ///< the same

private:
    RequestOptions options() const;
    bool joinHeaderLines() HAS_REQUIRES(m_mutex);
    void forgetHeaderLines() HAS_REQUIRES(m_mutex);

    UrlInfoTable& m_urlInfo;
    CHttpCookie& m_cookieJar;
    const EasyCallbacks m_callbacks;
    std::atomic<bool>& m_highSockets;
    mutable Mutex m_mutex;
    RequestOptions m_options HAS_GUARDED_BY(m_mutex);
    std::vector<std::string> m_addedLines HAS_GUARDED_BY(m_mutex);
    std::vector<std::string> m_ownerLines HAS_GUARDED_BY(m_mutex);
};

} // namespace hascommon::detail
