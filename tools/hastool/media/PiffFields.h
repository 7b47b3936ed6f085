// Fields of boxes whose type is a UUID, among them those of the Protected Interoperable File
// Format, which Common Encryption has grown out of.
#pragma once

#include "BoxKind.h"

namespace hastool {

/// The UUID, and for the sample encryption, track encryption and pssh boxes of the Protected
/// Interoperable File Format 1.1 (clause 5.3) their name and fields.
void readExtendedType(BoxFields& box, const BoxVersion&, BoxContext& context);

} // namespace hastool
