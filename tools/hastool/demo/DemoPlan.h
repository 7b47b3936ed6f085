// Which presentations the demo plays, and over which line.
#pragma once

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

/// One presentation; a folder of its name among the built-in ones.
struct DemoItem {
    std::string name;
    std::string manifest; ///< in its folder
    DemoMedia media;
    std::string clear; ///< name of the presentation whose segments the output is compared with
};

/// All presentations of the demo, in the order that they are shown in.
const std::vector<DemoItem>& demoItems();

/// How the line behaves while they are played: it rises, collapses, recovers, and once is cut.
/// CSV; see RateProfile.
extern const char* const kDemoProfile;

} // namespace hastool
