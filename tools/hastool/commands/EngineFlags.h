// Options that every command with downloads has.
#pragma once

#include <hastool/net/Downloader.h>

#include <CLI/CLI.hpp>

namespace hastool {

/// Adds the download engine's options to a command.
void addEngineFlags(CLI::App& command, EngineOptions& options);

/// What of the options will not do what it is there for, though the command can run; empty for
/// nothing.
std::string troubleOf(const EngineOptions& options);

} // namespace hastool
