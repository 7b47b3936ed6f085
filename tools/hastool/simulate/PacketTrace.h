// Traces of packet times.
#pragma once

#include "NetworkTrace.h"

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Reads the packet times of Mahimahi: one whole number of milliseconds a line, at which a packet
/// of 1500 bytes may pass; several at a time are as many lines. The trace is over at the last one.
///
/// Packets are counted over 100 ms: shorter than anything that a player measures, and long enough
/// that the count says what the rate was (at 1 Mbit/s eight packets). A packet counts to the
/// millisecond that its time ends. No byte is lost by this.
/// @param where  names the text in messages. @throws ToolError
std::vector<TracePeriod> readPacketTrace(std::string_view text, const std::string& where);

} // namespace hastool
