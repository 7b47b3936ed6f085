// hastool check
#pragma once

#include <hastool/check/Evidence.h>
#include <hastool/check/Finding.h>
#include <hastool/check/Gatherer.h>
#include <hastool/net/Downloader.h>

#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Says what is wrong with a presentation.
class CheckCommand {
public:
    /// Adds the command and its options.
    explicit CheckCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    void addOptions();
    Evidence gatherAll();
    int statusFor(const Findings& findings) const;

    CLI::App* m_command;
    std::string m_what; ///< URL, folder or file
    std::string m_reportPath;
    bool m_json = false;
    bool m_strict = false;
    bool m_quiet = false;
    CheckOptions m_options;
    EngineOptions m_engine;
};

} // namespace hastool
