// hastool serve
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Serves presentations until the user interrupts.
class ServeCommand {
public:
    /// Adds the command and its options.
    explicit ServeCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    CLI::App* m_command;
    std::string m_root;
    uint16_t m_port = 0;
    std::string m_profile;
    std::vector<std::string> m_faults; ///< as written
    bool m_live = false;
    bool m_lowLatency = false;
};

} // namespace hastool
