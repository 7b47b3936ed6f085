/// @file
/// The interface of the HTTP download engine.
#pragma once

#include <Hascommon/Export.h>
#include <Hasnet/ICurlCB.h>
#include <Hasnet/IDownloadEvent.h>

#include <string>

namespace hascommon {

/// Up to 20 concurrent HTTP(S) GET transfers; Curl implements it.
///
/// **Order of calls.** Construct, Init(), StartLoop() (or RunOnce() again and again), requests,
/// Quit(), destruction. Quit() and StartLoop() may follow each other any number of times.
///
/// **Units.** A request holds one of 20 units from the BeginDownload call that returned it until
/// EndDownload(). Units belong to the engine; the owner must not use a pointer after EndDownload(),
/// and never deletes it.
///
/// **Thread safety.** Requests are begun from one thread at a time; all other operations may be
/// called from any thread. None of them waits for a transfer, except EndDownload(), Reset() and
/// Quit().
///
/// **Inside a callback** (ICurlCB, IDownloadEvent) every operation may be called, requests
/// included; the engine must not be destroyed there. Those that would have to wait for the callback
/// itself do not: EndDownload() of a unit that has not completed answers -1, Reset() and Quit() are
/// carried out once the callback has returned and the pass around it is over, RunOnce() answers 0.
/// In ICurlCB::OnDownloadBegin(), around which there is no pass, Reset(), Quit() and RunOnce() do
/// as ever; the first two have the request that is beginning refused.
///
/// **Exceptions.** Construction and the BeginDownload calls throw std::exception when libcurl has
/// no handle to give, and hold no unit then. What else fails says so by what it returns; only
/// memory that runs out may throw std::bad_alloc anywhere. Callbacks must not throw: most of them
/// run below libcurl, which does not expect it.
///
/// **Units and hosts.** A unit stays with the host of its first request for as long as the engine
/// lives; hosts after the ninth count as one. A request for a host takes the first free unit that
/// is the host's or nobody's yet. So BeginDownload2() answers -1 although units are free once all
/// of these serve other hosts: an owner keeps the number of downloads at once below 20, waits for
/// one of the host's own units, or takes another engine.
///
/// **Unit codes** have names and words in ResultCode.h. What an owner sees: 0 success; -12
/// cancelled; -20 no connection, no TLS, no answer, or an HTTP status that is not retried; -23 HTTP
/// status 403, 404, 500, 503 or 504; -26 body cut short; -53 timed out. Behind the codes is a
/// table: -16 proxy not resolved, -17 host not resolved, -18 no connection, -19 send error, -20
/// receive error, -23 HTTP error, -25 TLS error and for any other libcurl result -1000 x status -
/// result - 100. But for a failure with one of the five statuses, or one that comes when the whole
/// body is there, which keep their code, the retry rules turn all of these into -20. -54 (too many
/// retries of a status) comes only where retries outlive their request, which no operation here
/// asks for. What really happened, libcurl's result and words, the status and the peer, is had from
/// Curl::GetFailure().
///
/// **Retries are the owner's.** The engine never repeats a request. It paces the owner: every
/// completion with one of the five statuses, and every body cut short, holds the whole engine, with
/// all its transfers, for half a second.
class HAS_API ICurl {
public:
    virtual ~ICurl();

    /// Sets the callbacks and opens the cookie jar.
    /// @param cb  the owner's callbacks, borrowed; may be null
    /// @param ev  the traffic observer, borrowed; may be null
    virtual void Init(ICurlCB* cb, IDownloadEvent* ev) = 0;

    /// Starts the transfer thread, or keeps the one that runs; also after Quit(). An owner that
    /// calls RunOnce() instead does without. Inside a callback it does nothing while another thread
    /// is in Quit(), which waits for the callback.
    virtual void StartLoop() = 0;

    /// Saves the cookies, stops the transfer thread and ends every unit in use with code -12.
    ///
    /// After it no callback runs any more. While it waits for the transfer thread, a caller that
    /// holds the item lock gives it up, at whatever depth, and has it again when it returns. Inside
    /// a callback it only asks the engine to stop; the next Quit(), StartLoop() or the destructor
    /// from outside completes it.
    virtual void Quit() = 0;

    /// Cancels every unit and frees all 20, and makes all request keys handed out before stale.
    ///
    /// Waits until the transfers have noticed. Inside a callback it does not wait: the pass that is
    /// running completes it.
    virtual void Reset() = 0;

    /// Begins a request whose URL may be preceded by a byte range, as in "0-1023http://host/a".
    ///
    /// @param key       the GetRequestKey() that the request belongs to; one below the current key
    ///                  is stale and starts nothing
    /// @param url       the URL, with or without a range directly before its "http"
    /// @param keepInfo  remember the file's time, so that a repeated request is conditional
    /// @param unit      receives the unit; untouched unless the request was begun
    /// @param flag      stored, not looked at
    /// @param userData  the owner's pointer, see GetData()
    /// @return 0 when begun, and also for a stale key; -1 when no unit was free for the URL's host
    ///         (see "Units and hosts"), the URL holds no "http", the engine has quit, or a Reset()
    ///         came before the request was handed over; -13 for an empty URL
    /// @throws std::exception when libcurl has no handle to give
    virtual int BeginDownload(unsigned int key, const std::string& url, bool keepInfo,
                              UnitObject*& unit, bool flag, void* userData) = 0;

    /// Begins a request for a byte range.
    /// @param range  first and last byte offset joined by a hyphen (RFC 9110, section 14.1.2,
    ///               without the unit), or empty for the whole resource
    /// The rest is as in BeginDownload(), but the URL is taken as it is.
    virtual int BeginDownload2(unsigned int key, const std::string& url, const std::string& range,
                               bool keepInfo, UnitObject*& unit, bool flag, void* userData) = 0;

    /// Repeats a remembered request: its URL, range and keepInfo.
    /// @param infoIndex  0 to 19 for the last request of that unit slot, 20 to 39 for the cache of
    ///                   keepInfo requests
    /// @return as BeginDownload2(), and -13 for an entry that holds nothing or does not exist
    virtual int BeginDownload3(int infoIndex, UnitObject*& unit, bool flag, void* userData) = 0;

    /// Waits for the download to complete, frees its unit and takes it out of the completed queue.
    ///
    /// Where no transfer thread runs it drives the engine itself. Inside a callback it cannot wait:
    /// a unit that has not completed is left as it is and -1 returned.
    /// @return the unit's code; -1 for a null unit; 0 for a unit that was ended before
    virtual int EndDownload(UnitObject*& unit) = 0;

    /// Asks a download to stop; it completes soon after with code -12. One that has completed gets
    /// that code in place of its own.
    /// @return 1 when asked; 0 when it had been asked before and has not come to its end since, has
    ///         been ended, or is null. A cancelled download that has completed may therefore be
    ///         cancelled once more, which changes nothing
    virtual int Cancel(UnitObject* unit) = 0;

    /// Holds a download; its connection stays open and no bytes are handed out.
    /// @return 1 when it is paused now (also when it was before), 0 when it has completed or is
    /// null
    virtual int Pause(UnitObject* unit) = 0;

    /// Lets a paused download go on: the next pass hands out what has arrived meanwhile, whether or
    /// not the server sends more. A resumed transfer is aborted when it stays below 2048 bytes/s
    /// for 28 s, or takes longer than 120 s plus the time it was paused.
    /// @return 1 when it runs now (also when it was not paused), 0 on failure or when null
    virtual int Resume(UnitObject* unit) = 0;

    /// Whether the unit is in use and not paused; false for null.
    virtual bool IsDownloading(UnitObject* unit) = 0;

    /// Whether the unit is in use and paused; false for null.
    virtual bool IsPause(UnitObject* unit) = 0;

    /// Drives all transfers once and completes at most one; waits up to 300 ms for traffic.
    /// @return 1 when a transfer completed, else 0
    virtual int RunOnce() = 0;

    /// @return the owner's pointer of the unit, from the BeginDownload call or SetData(); null for
    /// a
    ///         null unit
    virtual void* GetData(UnitObject* unit) = 0;

    /// Replaces the owner's pointer of the unit.
    /// @return the pointer before; null for a null unit
    virtual void* SetData(UnitObject* unit, void* userData) = 0;

    /// Whether none of the 20 units is in use.
    virtual bool IsIdle() = 0;

    /// The request key; it rises by one with every Reset().
    virtual unsigned int GetRequestKey() = 0;

    /// @return body bytes received so far; 0 for a null unit. Wraps at 4 GiB.
    virtual unsigned int GetPos(UnitObject* unit) = 0;

    /// @return the content length, 0 while or where it is not known and for a null unit; the low 32
    ///         bits of one above 4 GiB
    virtual unsigned int GetSize(UnitObject* unit) = 0;

    /// Takes the oldest completed unit; the owner still ends it with EndDownload().
    /// @param code  receives its code
    /// @param date  receives the server's Date header in seconds since 1970, 0 when there was none
    /// @return null when nothing has completed; `code` and `date` are then untouched
    virtual UnitObject* GetCompleted(int& code, long& date) = 0;

    /// Sets the cookie that goes with every request it matches; empty only forgets the text.
    virtual void SetCookie(const std::string& cookie) = 0;

    /// Sets the proxy of later requests, in libcurl's notation; empty for none.
    virtual void SetProxy(const std::string& proxy) = 0;

    /// Sets the user agent of later requests; empty for the default.
    virtual void SetAgent(const std::string& agent) = 0;

    /// Stores a connection time-out in seconds. It is kept for the owner's information: requests
    /// run with libcurl's own.
    virtual void SetConnTimeout(int seconds) = 0;

    /// Stores a low-speed time-out in seconds; see SetConnTimeout().
    virtual void SetLowSpeedTimeout(int seconds) = 0;

    /// Copies the engine's opaque word to `*info`; null is ignored.
    virtual void getEngineInfo(unsigned int* info) = 0;

    /// Sets the engine's opaque word from `*info`; null is ignored. The value 5 changes the user
    /// agent of later requests to the HbbTV one, whatever SetAgent() said.
    virtual void setEngineInfo(unsigned int* info) = 0;

    /// Locks the recursive item lock, under which all callbacks of the transfer thread run: while
    /// the owner holds it, none comes. EndDownload(), Reset(), Quit() and StartLoop() give it up
    /// while they wait. To be unlocked as often as it was locked, on the same thread.
    virtual void LockMutItem() = 0;

    /// Unlocks the item lock once; ignored on a thread that does not hold it.
    virtual void UnlockMutItem() = 0;
};

} // namespace hascommon
