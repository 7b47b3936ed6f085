// The page of a check.
#pragma once

#include <hastool/check/Evidence.h>
#include <hastool/check/Finding.h>

#include <string>

namespace hastool {

/// One HTML page of what a check has found, with charts: every segment's bitrate against the
/// declared one, the segments' durations, and where the renditions are cut. It holds all that it
/// needs and loads nothing from anywhere.
std::string checkPage(const Evidence& evidence, const Findings& findings);

} // namespace hastool
