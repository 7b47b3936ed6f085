// What the elements of an MPD may hold.
#pragma once

#include "ManifestTree.h"

#include <functional>
#include <string>
#include <vector>

namespace hastool {

struct DashAttributeFault {
    const ManifestElement* element = nullptr;
    std::string attribute;
    std::string text; ///< what is wrong with it
};

/// Attributes whose value is not of their type.
std::vector<DashAttributeFault> badDashValues(const ManifestElement& mpd);
/// Attributes that have to be there and are not.
std::vector<DashAttributeFault> missingDashAttributes(const ManifestElement& mpd);
/// Elements and attributes in the namespace of MPDs that no edition has.
std::vector<DashAttributeFault> unknownDashNames(const ManifestElement& mpd);

} // namespace hastool
