// hastool ts
#pragma once

#include <hastool/media/PidMap.h>
#include <hastool/media/TsReport.h>

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Shows what is in a transport stream, or gives its streams other PIDs.
class TsCommand {
public:
    /// Adds the command and its options.
    explicit TsCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    void remap(const PidMap& map, const TsReport& report) const;

    CLI::App* m_command;
    std::string m_file;
    std::vector<std::string> m_remaps;
    std::string m_output;
    bool m_json = false;
};

} // namespace hastool
