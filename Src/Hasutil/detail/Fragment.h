// The places in a movie fragment that say where its samples are.
#pragma once

#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

/// Whether all children of a `moof` and of its `traf` boxes lie inside, and the boxes among them
/// that moveFragment() writes to hold their fields.
bool isFragmentSound(const BoxView& moof);

/// How far things have moved.
struct Moved {
    /// Bytes put into the stream before this `moof`.
    long long before = 0;
    /// Bytes put in between this `moof`, as long as it was, and its samples.
    unsigned int behind = 0;
    /// Where the `moof` began in the stream as it came.
    unsigned long long moofAt = 0;
};

/// Corrects the base data offset (absolute) of each `tfhd`, and the data offset of each `trun` and
/// the `saio` offsets where what they lead to moves against what they count from (ISO/IEC 14496-12,
/// clause 8.8.7): that base, or the begin of the `moof`, or the end of the data of the track
/// fragment before, which has moved already. What lies in the `moof` or in front of it stays. Where
/// samples begin at the base itself, because the first run has no offset, the base moves in place
/// of the runs.
/// @param moof  sound, of the size it had before anything was inserted
/// @return false when a sum does not fit its field; some may have been written then
bool moveFragment(const BoxView& moof, const Moved& moved);

} // namespace hascommon::detail
