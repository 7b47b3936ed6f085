// Options that every command with downloads has.
#pragma once

#include <hastool/net/Downloader.h>

#include <CLI/CLI.hpp>

namespace hastool {

/// Adds the download engine's options to a command.
void addEngineFlags(CLI::App& command, EngineOptions& options);

/// A warning about an option that will have no effect, though the command can run; empty without
/// such an option.
std::string troubleOf(const EngineOptions& options);

} // namespace hastool
