// libcurl's process-wide state.
#pragma once

namespace hascommon::detail {

/// Runs curl_global_init once per process; any thread may call, before its first handle.
void ensureCurlGlobal();

} // namespace hascommon::detail
