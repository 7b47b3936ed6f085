// The fast part of the start-code search.
#pragma once

namespace hascommon::detail {

/// Passes over bytes that cannot belong to a start code.
///
/// A start code and the zeros around it are a run of at least three bytes of 0 and 1, so whatever
/// stands outside such a run changes nothing in a scanner that has seen no part of a start code.
/// @param bytes  the whole piece
/// @param from   where such a scanner stands, below `size`
/// @return `from` or an index behind it, below `size`: a scanner that goes on there with nothing
///         seen finds what it would have found from `from` on
int skipToStartCode(const unsigned char* bytes, int from, int size);

} // namespace hascommon::detail
