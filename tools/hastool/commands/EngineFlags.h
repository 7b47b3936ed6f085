// Options that every command with downloads has.
#pragma once

#include "../engine/Downloader.h"

#include <CLI/CLI.hpp>

namespace hastool {

/// Adds the download engine's options to a command.
void addEngineFlags(CLI::App& command, EngineOptions& options);

} // namespace hastool
