// A unit's transfer as libcurl knows it.
#pragma once

#include <Hasnet/ICurlFactory.h>
#include <Hasnet/detail/HeaderList.h>
#include <Hasnet/detail/ItemLock.h>
#include <Hasnet/detail/SocketWatch.h>

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace hascommon::detail {

/// A libcurl easy handle and what hangs on it for as long as a transfer lasts.
///
/// The thread that begins a request has it alone until the request is handed to the pass; from then
/// on it is used in a pass only, under the item lock.
class Transfer {
public:
    /// Gives back the handle of the request before and takes a fresh one.
    /// @throws std::exception when libcurl has none to give; there is no handle then
    void Renew(ICurlFactory& factory);
    /// Forgets what the transfer before has left; nobody else has the transfer yet.
    void Clear() HAS_NO_THREAD_SAFETY_ANALYSIS;

    ICurlEasy& Easy() { return *m_easy; }

    SocketWatch sockets;
    HeaderList headers; ///< the extra lines, which libcurl does not copy
    std::array<char, CURL_ERROR_SIZE> errorBuffer{};

    /// @return whether the multi handle has taken it
    bool Join(ICurlMulti& multi) HAS_REQUIRES(itemLock);
    /// @return false when it was in no multi handle
    bool Leave(ICurlMulti& multi) HAS_REQUIRES(itemLock);
    bool InMulti() const HAS_REQUIRES(itemLock) { return m_inMulti; }

    /// Fails until there is a connection, but for a call from inside libcurl's callbacks.
    bool Pause() HAS_REQUIRES(itemLock);
    /// Body that libcurl holds comes before this returns, and may pause the transfer again.
    bool Resume() HAS_REQUIRES(itemLock);
    /// Takes a resume that failed back.
    void StayPaused() HAS_REQUIRES(itemLock) { m_paused = true; }
    bool IsPaused() const HAS_REQUIRES(itemLock) { return m_paused; }

    /// The last response's HTTP status, 0 when there was none.
    long Status() HAS_REQUIRES(itemLock);
    /// How many redirects were followed; 0 without a handle.
    long Redirects() HAS_REQUIRES(itemLock);
    /// The URL that is being answered: the request's own, or that of the redirect being followed.
    std::string AnsweringUrl() HAS_REQUIRES(itemLock);
    /// 0 while it is not known.
    unsigned long long ContentLength() HAS_REQUIRES(itemLock);
    /// In seconds since 1970; 0 or below while it is not known.
    long FileTime() HAS_REQUIRES(itemLock);
    /// Sets what goes with the next hop; empty for no cookie.
    void SetCookie(const std::string& cookie) HAS_REQUIRES(itemLock);

private:
    std::unique_ptr<ICurlEasy, std::function<void(ICurlEasy*)>> m_easy;
    bool m_inMulti HAS_GUARDED_BY(itemLock) = false;
    bool m_paused HAS_GUARDED_BY(itemLock) = false;
};

} // namespace hascommon::detail
