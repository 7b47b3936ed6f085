// hastool boxes
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Shows the boxes of an MP4 file.
class BoxesCommand {
public:
    /// Adds the command and its options.
    explicit BoxesCommand(CLI::App& app);

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
