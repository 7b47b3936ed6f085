// Changes the PIDs that tables name.
#pragma once

#include "PidMap.h"

#include <cstddef>

namespace hastool {

/// Changes the PIDs in the PAT, CAT and PMT sections of a packet's payload, in place, and their
/// checksums. A section whose checksum does not hold stays as it is.
/// @return false when a section goes over the packet's end
bool patchTables(unsigned char* payload, size_t size, bool isUnitStart, const PidMap& map);

} // namespace hastool
