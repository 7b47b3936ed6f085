// The time limits of a paused and of a resumed transfer.
#pragma once

#include <Hasnet/ICurlEasy.h>

#include <cstdint>

namespace hascommon::detail {

/// An option's number in the form that ICurlEasy::SetOpt() takes.
inline const void* asOption(long number) {
    return reinterpret_cast<const void*>(static_cast<std::intptr_t>(number));
}

/// Lets a transfer stand still for as long as its owner likes.
void setPausedLimits(ICurlEasy& easy);

/// Gives a resumed transfer the time it was paused on top of the usual limits, and ends it when it
/// crawls.
void setResumedLimits(ICurlEasy& easy, long long pausedMs);

} // namespace hascommon::detail
