// Changes the PIDs that tables name.
#pragma once

#include "PidMap.h"

#include <cstddef>

namespace hastool {

/// Changes the PIDs in a PAT, CAT or PMT section, and its checksum, in place. A section of another
/// table, and one whose checksum is wrong, stays as it is.
void patchSection(unsigned char* section, size_t size, const PidMap& map);

} // namespace hastool
