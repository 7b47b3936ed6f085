/// @file
/// The HTTP download engine.
#pragma once

#include <Hasnet/DownloadFailure.h>
#include <Hasnet/ICurl.h>
#include <Hasnet/curl_thread_option.h>

#include <memory>
#include <string>
#include <vector>

#include <curl/curl.h>

namespace hascommon {

namespace detail {
class Engine;
} // namespace detail

/// Downloads over one libcurl multi handle; see ICurl for the operations and their threads.
///
/// Servers' certificates are not verified unless SetVerifyPeer() asks for it: the platform's
/// streams come from servers whose certificates its store does not know.
class HAS_API Curl : public ICurl {
public:
    /// @param option      CURL_THREAD_PACED for a loop of `sleepTime`
    /// @param sleepTime   period of the paced loop in microseconds
    /// @param cookiePath  the application id that names the cookie files, see CHttpCookie::init()
    /// @throws std::exception when libcurl has no multi handle to give
    /// Also writes the process's socket-buffer settings; where that is not allowed, the log says so
    /// and nothing else happens.
    Curl(curl_thread_option option, int sleepTime, std::string cookiePath);

    /// Stops the engine if Quit() did not, and releases every unit. No callback runs after it.
    /// Must not be called from inside a callback.
    ~Curl() override;

    Curl(const Curl&) = delete;
    Curl& operator=(const Curl&) = delete;

    void Init(ICurlCB* cb, IDownloadEvent* ev) override;
    void StartLoop() override;
    void Quit() override;
    void Reset() override;
    int BeginDownload(unsigned int key, const std::string& url, bool keepInfo, UnitObject*& unit,
                      bool flag, void* userData) override;
    int BeginDownload2(unsigned int key, const std::string& url, const std::string& range,
                       bool keepInfo, UnitObject*& unit, bool flag, void* userData) override;
    int BeginDownload3(int infoIndex, UnitObject*& unit, bool flag, void* userData) override;
    int EndDownload(UnitObject*& unit) override;
    int Cancel(UnitObject* unit) override;
    int Pause(UnitObject* unit) override;
    int Resume(UnitObject* unit) override;
    bool IsDownloading(UnitObject* unit) override;
    bool IsPause(UnitObject* unit) override;
    int RunOnce() override;
    void* GetData(UnitObject* unit) override;
    void* SetData(UnitObject* unit, void* userData) override;
    bool IsIdle() override;
    unsigned int GetRequestKey() override;
    unsigned int GetPos(UnitObject* unit) override;
    unsigned int GetSize(UnitObject* unit) override;
    UnitObject* GetCompleted(int& code, long& date) override;
    void SetCookie(const std::string& cookie) override;
    void SetProxy(const std::string& proxy) override;
    void SetAgent(const std::string& agent) override;
    void SetConnTimeout(int seconds) override;
    void SetLowSpeedTimeout(int seconds) override;
    void getEngineInfo(unsigned int* info) override;
    void setEngineInfo(unsigned int* info) override;
    void LockMutItem() override;
    void UnlockMutItem() override;

    /// Turns a finished transfer's outcome into the unit's code, counts retries and reports a
    /// redirect. Called on the transfer thread with the item lock held; a subclass may refine it.
    ///
    /// A retried status (403, 404, 500, 503, 504) or a body cut short holds the whole engine for
    /// 500 ms on purpose: it paces the owner's retries.
    /// @param curlCode    libcurl's result
    /// @param httpStatus  the response's status, 0 when there was none
    /// @param easyIndex   -1, or the part of a split transfer
    /// @return the unit's code; -1 for a null unit
    virtual int ResultIf(UnitObject* unit, CURLcode curlCode, long httpStatus, int easyIndex);

    /// GetCompleted() that waits for a unit where none has completed. Where no transfer thread runs
    /// it drives the engine itself, as RunOnce() does; a caller that holds the item lock gives it
    /// up meanwhile, at whatever depth. Any thread may call, several at once too: each gets units
    /// of its own. Inside a callback it does not wait.
    /// @param code       receives the unit's code; untouched when there is no unit
    /// @param date       receives the response's Date, as in GetCompleted()
    /// @param timeoutMs  milliseconds; -1 waits for ever, 0 does not wait
    /// @return null when the time is up, and once the engine has quit and every unit was taken
    UnitObject* WaitCompleted(int& code, long& date, int timeoutMs);

    /// A descriptor that is readable (poll, select, epoll) while GetCompleted() has a unit to give,
    /// for an owner with a loop of its own. It stays the same for as long as the engine lives,
    /// whatever Reset(), Quit() and StartLoop() do, and is the engine's: it is neither read nor
    /// closed. An owner that drives RunOnce() finds it readable behind a pass only. Any thread.
    /// @return -1 where the system had no descriptor left when the engine was made
    int CompletionFd() const;

    /// Sets header lines of the owner's own, which every later request carries behind those that
    /// Curl_HLS::SetCookie() adds; they replace the lines of the call before and are gone after
    /// Quit(), as those are. A request that has begun keeps its own. What libcurl sets itself
    /// (User-Agent, Range, ...) is replaced by a line of that name, or left out by one without a
    /// value, see CURLOPT_HTTPHEADER. On a redirect to another host, port or scheme Authorization
    /// and Cookie lines are left out. Any thread.
    /// @param lines  "Name: value" each, without an end of line
    /// @return false for a line without a name and a colon or with a control character, when
    ///         nothing changes, and without memory, when no extra lines are sent at all
    bool SetRequestHeaders(const std::vector<std::string>& lines);

    /// Limits how long a connection may take to stand for later requests: name look-up, TCP and TLS
    /// together, of each hop of a redirect. A transfer that comes to the limit ends with -53, as
    /// time-outs do, and is not retried. A unit that is paused and resumed before its connection
    /// stands gets the limits that Resume() sets in its place. SetConnTimeout(), which platforms
    /// call with values of their own, has no part in it. Any thread.
    /// @param milliseconds  0 or below for libcurl's own limit, five minutes
    void SetConnectLimit(int milliseconds);

    /// Turns the verification of servers' certificates on or off for later requests; off at first.
    void SetVerifyPeer(bool verify);

    /// Names a file of trusted certificates (PEM) for later requests; empty for libcurl's own.
    /// Has no effect while verification is off.
    void SetCaFile(const std::string& path);

    /// Turns the jar's strict rules on or off, see CHttpCookie::SetStrictCookies(); off at first.
    /// Before Init() they apply to the stored cookies as well.
    void SetStrictCookies(bool strict);

    /// Forgets the cookie that SetCookie() set. Requests that have begun send it all the same.
    void clearUsrDefCookie();

    /// What a finished download took; for reports.
    struct UnitInfo {
        std::string url;              ///< as requested
        long httpStatus = 0;          ///< of the last response, 0 when there was none
        long redirects = 0;           ///< how many were followed
        long long latency = 0;        ///< from the begin to the first body byte, in ms
        long long received = 0;       ///< body bytes, not wrapped
        long long contentLength = -1; ///< -1 when not known
        int infoIndex = -1;           ///< what BeginDownload3() takes to repeat the request
    };

    /// Reads what is known of a download so far; any thread may call until EndDownload().
    /// @return false for a null unit
    bool GetUnitInfo(UnitObject* unit, UnitInfo& info);

    /// Reads the header lines that have come for a download so far, as the servers sent them, each
    /// with its end of line. Every response begins with its status line and ends with an empty line
    /// where it has come that far: interim ones (1xx) and those of redirects first, the last one
    /// last. Behind 64 KiB nothing more is kept. Any thread may call until EndDownload().
    /// @param lines  receives the text; empty where nothing has come
    /// @return false for a null unit; `lines` is then untouched
    bool GetResponseHeaders(UnitObject* unit, std::string& lines);

    /// Reads how a download that has completed went, in libcurl's terms: the unit code merges most
    /// failures, see ICurl. To be called before EndDownload(), from any thread; it tells of the
    /// last transfer, whatever a Cancel() after it has made of the code.
    /// @param failure  receives the record, also of a download that succeeded
    /// @return false for a null unit, and for one that has not completed; `failure` is then
    ///         untouched
    bool GetFailure(UnitObject* unit, DownloadFailure& failure);

    /// @name For a caller that holds the item lock
    /// Results as without `_unlock`. The lock is recursive and taken once more, so that a caller
    /// without it does no harm.
    /// @{

    /// EndDownload(); while it waits, the lock is given up.
    int EndDownload_unlock(UnitObject*& unit);
    /// Resume().
    int Resume_unlock(UnitObject* unit);
    /// Cancel().
    int Cancel_unlock(UnitObject* unit);
    /// @}

    /// One turn of the transfer thread: a pass and its pause. The engine's own thread calls it; an
    /// owner that drives the engine itself calls RunOnce().
    /// @param engine  the Curl
    /// @return false to end the thread
    static bool Loop(void* engine);

protected:
    /// Stops the engine as Quit() does, without saving cookies. The destructor of a subclass that
    /// overrides ResultIf() calls it, before the override is gone.
    void Stop();

    /// Adds a line to the headers of every later request until Quit().
    /// @param line  "Name: value", without an end of line
    /// @return false when there was no memory; no extra lines are sent then
    bool AddHeaderLine(const std::string& line);

    /// Remembers the text of SetCookie(); no request takes it from there.
    void KeepUserCookie(const std::string& cookie);

private:
    std::unique_ptr<detail::Engine> m_engine;
};

} // namespace hascommon
