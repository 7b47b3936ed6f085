// The DRM systems that descriptors are matched with.
#pragma once

#include <Hasutil/DrmTypes.h>

#include <string>

namespace hascommon::detail {

/// Finds the system of a type whose scheme id begins like the given one, in any case.
/// @return the 16 bytes of its system id; empty when no system fits
std::string findSystemId(eDRM_TYPE type, const std::string& schemeId);

} // namespace hascommon::detail
