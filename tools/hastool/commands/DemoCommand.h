// hastool demo
#pragma once

#include <hastool/demo/Demo.h>
#include <hastool/report/PlaySection.h>

#include <deque>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Plays the built-in presentations from an origin inside the tool, and checks what comes out.
class DemoCommand {
public:
    /// Adds the command and its options.
    explicit DemoCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    void writePage(std::deque<ReportedPlay>& plays, const std::vector<DemoResult>& results) const;

    CLI::App* m_command;
    DemoOptions m_options;
    std::string m_media;
    std::string m_page = "hastool-demo.html"; ///< the report's name
    bool m_quiet = false;
};

} // namespace hastool
