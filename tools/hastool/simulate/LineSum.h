// A line's rate out of the transfers that went over it.
#pragma once

#include "NetworkTrace.h"

#include <string>
#include <vector>

namespace hastool {

/// A transfer as its receiver saw it; seconds.
struct SeenTransfer {
    double begin = 0;     ///< of the request
    double firstByte = 0; ///< when it came, not before `begin`
    double end = 0;       ///< behind `firstByte`
    double bytes = 0;
};

/// The sum of all transfers' rates over time, from time 0 to the last end.
/// @param where  names the transfers in messages. @throws ToolError
std::vector<TracePeriod> sumOfTransfers(const std::vector<SeenTransfer>& transfers,
                                        const std::string& where);

} // namespace hastool
