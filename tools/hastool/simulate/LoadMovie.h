// Movies by name.
#pragma once

#include "Movie.h"
#include <hastool/net/Downloader.h>

#include <functional>
#include <string>

namespace hastool {

/// Loads a movie: a file in the public JSON form, a folder or file with a manifest, or the URL of
/// one, whose sizes are asked for once and then kept (see MovieCache).
/// @param options  with a total time limit
/// @param warn     is told why sizes cannot be kept
/// @throws ToolError
Movie loadMovie(const std::string& what, const EngineOptions& options,
                const std::function<void(const std::string&)>& warn);

} // namespace hastool
