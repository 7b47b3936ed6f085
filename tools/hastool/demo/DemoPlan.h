// Which presentations the demo plays, and over which line.
#pragma once

#include <hastool/play/StreamRules.h>

#include <string>
#include <vector>

namespace hastool {

/// What the output of a play has to be.
enum class DemoMedia {
    ClearBytes,      ///< the bytes of the clear segments
    Boxes,           ///< whole boxes, a fragment per segment, nothing of protection
    PsshInFragments, ///< the segments' samples, PSSH data in each fragment
    PsshInMovie,     ///< the segments' samples, PSSH data in each movie box
};

/// One play of a presentation.
struct DemoItem {
    std::string name;
    std::string folder;   ///< of the presentation, among the built-in ones
    std::string manifest; ///< in its folder
    DemoMedia media;
    std::string clear; ///< folder of the presentation whose segments the output is compared with
    std::string rule = kAdaptiveRule; ///< see makeStreamRule()
};

/// All plays of the demo, one presentation under both rules among them, in the order that they are
/// shown in.
const std::vector<DemoItem>& demoItems();

/// How the line behaves while they are played: it rises, collapses, recovers, and once is cut.
/// CSV; see RateProfile.
extern const char* const kDemoProfile;

} // namespace hastool
