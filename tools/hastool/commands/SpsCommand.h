// hastool sps
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Shows the sequence parameter sets of an H.264 video.
class SpsCommand {
public:
    /// Adds the command and its options.
    explicit SpsCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    CLI::App* m_command;
    std::string m_file;
    bool m_json = false;
};

} // namespace hastool
