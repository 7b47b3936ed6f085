// From a manifest's URL to what its presentation holds.
#pragma once

#include "PresentationInfo.h"
#include <hastool/base/TimeSource.h>
#include <hastool/formats/Presentation.h>

#include <functional>
#include <string>
#include <vector>

namespace hastool {

/// How documents are had.
struct InfoAccess {
    FetchDocument fetch; ///< may not throw DocumentWanted
    /// Is told what will be fetched, in that order, so that it can be fetched at once; may be
    /// empty.
    std::function<void(const std::vector<Resource>& resources)> expect;
    TimeSource time; ///< the clocks that a live presentation goes by
};

/// Reads a presentation: its manifest, playlists and segment indexes, and nothing else. A playlist
/// or an index that cannot be had becomes the error of its stream.
/// @throws ToolError for what is no manifest, and for a manifest that cannot be used
PresentationInfo readInfo(const std::string& url, const InfoAccess& access);

} // namespace hastool
