// Waiting for the network.
#pragma once

#include <Hasnet/ICurlMulti.h>

namespace hascommon::detail {

/// Waits until a transfer has traffic, the event fires, libcurl wants to be called again, or the
/// time is over: by select where the descriptors allow it, else by curl_multi_poll.
/// @param wakeFd       the event's descriptor, -1 for none
/// @param highSockets  libcurl has a descriptor that select cannot wait for
/// @return how many descriptors have something, 0 at a time-out, below 0 on failure
int waitForTraffic(ICurlMulti& multi, int wakeFd, bool highSockets, int timeoutMs);

} // namespace hascommon::detail
