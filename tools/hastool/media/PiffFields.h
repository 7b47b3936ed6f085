// Fields of boxes whose type is a UUID, among them those of the Protected Interoperable File
// Format, the forerunner of Common Encryption.
#pragma once

#include "BoxKind.h"

namespace hastool {

/// Reads the UUID; for the sample encryption, track encryption and pssh boxes of the Protected
/// Interoperable File Format 1.1 (clause 5.3) also their name and fields.
void readExtendedType(BoxFields& box, const BoxVersion&, BoxContext& context);

} // namespace hastool
