// The syntax of an H.264 sequence parameter set.
#pragma once

#include <Hasutil/H264SequenceSetParse.h>
#include <Hasutil/H264_SyntaxReader.h>

namespace hascommon::detail {

/// Reads the set from profile_idc to the crop offsets.
/// @return false at the first element that the data does not hold; `sps` has those before it
bool readSequenceSet(H264_SyntaxReader& reader, H264SequenceSetParse& sps);

} // namespace hascommon::detail
