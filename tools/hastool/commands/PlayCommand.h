// hastool play
#pragma once

#include <hastool/base/OutputFile.h>
#include <hastool/play/Player.h>
#include <hastool/report/PlaySection.h>
#include <hastool/ui/Terminal.h>

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Plays a presentation without a screen.
class PlayCommand {
public:
    /// Adds the command and its options.
    explicit PlayCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    void addRenditionOptions();
    void addSwitcherOptions();
    void completeOptions();
    void play(Terminal& terminal);
    void writePage(OutputFile& page, ReportedPlay play) const;
    void report(const Summary& summary) const;

    CLI::App* m_command;
    PlayOptions m_options;
    double m_bufferGoal = 30;
    double m_liveTimeout = 60;
    std::vector<std::string> m_limits; ///< as written
    std::string m_groupsFile;
    std::string m_page;    ///< the report's name; empty for none
    std::string m_pauseAt; ///< as written
    bool m_json = false;
    bool m_quiet = false;
};

} // namespace hastool
