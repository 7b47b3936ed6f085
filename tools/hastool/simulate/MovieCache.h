// Movies whose sizes were asked for before.
#pragma once

#include "Movie.h"

#include <optional>
#include <string>

namespace hastool {

/// Keeps movies of presentations on servers, one file each, in `hastool/movies` below
/// $XDG_CACHE_HOME or ~/.cache. A file is named for the SHA-256 of its URL, and has the public JSON
/// form; whoever wants the sizes asked for again deletes it. Processes may use it beside each
/// other.
class MovieCache {
public:
    /// The user's folder, from the environment; without one nothing is kept.
    MovieCache();
    explicit MovieCache(std::string folder)
        : m_folder(std::move(folder)) {}

    /// Where the movie of a URL is kept; empty where none is.
    std::string pathOf(const std::string& url) const;
    /// Nothing also for a file that cannot be used.
    std::optional<Movie> find(const std::string& url) const;
    /// @throws ToolError when it cannot be written
    void keep(const std::string& url, const Movie& movie) const;

private:
    std::string m_folder;
};

} // namespace hastool
