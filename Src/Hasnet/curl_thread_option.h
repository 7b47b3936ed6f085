/// @file
/// How the transfer thread paces itself.
#pragma once

namespace hascommon {

/// The pacing of the transfer thread between two passes.
enum curl_thread_option {
    /// Sleep one millisecond after every pass.
    CURL_THREAD_DEFAULT = 0,
    /// Sleep the engine's sleep time after a pass that took less than a millisecond, and not at all
    /// after a longer one.
    CURL_THREAD_PACED = 1,
};

} // namespace hascommon
