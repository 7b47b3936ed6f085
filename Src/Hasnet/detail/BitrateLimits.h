// What the limits of a switcher say of a bitrate.
#pragma once

#include <Hasnet/bitrateParam_t.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace hascommon::detail {

/// The first entry for a bitrate; null where there is none.
inline const bitrateParam_t* findParam(const std::vector<bitrateParam_t>& params, int bitrate) {
    const auto found =
        std::find_if(params.begin(), params.end(),
                     [bitrate](const bitrateParam_t& param) { return param.bitrate == bitrate; });
    return found == params.end() ? nullptr : &*found;
}

/// Whether a range or an entry allows a bitrate, or there are neither.
inline bool isBitrateAllowed(const std::vector<bitrateParam_t>& params,
                             const std::vector<std::pair<int, int>>& ranges, int bitrate) {
    if (params.empty() && ranges.empty())
        return true;
    const auto inRange = [bitrate](const std::pair<int, int>& range) {
        return range.first <= bitrate && bitrate <= range.second;
    };
    return std::any_of(ranges.begin(), ranges.end(), inRange) ||
           findParam(params, bitrate) != nullptr;
}

} // namespace hascommon::detail
