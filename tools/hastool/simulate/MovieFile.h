// Movies as files.
#pragma once

#include "Movie.h"

#include <string>

namespace hastool {

/// Reads a movie in its public JSON form: `segment_duration_ms`, `bitrates_kbps` in ascending
/// order, and `segment_sizes_bits` with a list for each segment, of its size in each stream. Where
/// segments are not of one length, `segment_durations_ms` has each one's.
/// @param where  names the text in messages, and its file the movie. @throws ToolError
Movie readMovie(const std::string& text, const std::string& where);

/// A movie as readMovie() takes it. @param origin  where its sizes come from, for people
std::string movieText(const Movie& movie, const std::string& origin);

} // namespace hastool
