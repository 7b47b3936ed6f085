// The lines of all playlists that a check has had.
#pragma once

#include "Evidence.h"

namespace hastool {

/// The most lines that are held of a live presentation's playlists together. Beyond them, the
/// states between the first and the last of each playlist have none.
constexpr size_t kMaxHeldLines = 4000000;

/// Reads the lines of all playlists of HLS that were had; once, when all of them are there.
void readPlaylistLines(Evidence& evidence);

} // namespace hastool
