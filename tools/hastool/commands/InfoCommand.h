// hastool info
#pragma once

#include <hastool/net/Downloader.h>

#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Tells what a presentation holds, without playing it.
class InfoCommand {
public:
    /// Adds the command and its options.
    explicit InfoCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    CLI::App* m_command;
    std::string m_url;
    bool m_json = false;
    EngineOptions m_engine;
};

} // namespace hastool
