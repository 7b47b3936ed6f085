// hastool simulate
#pragma once

#include <hastool/net/Downloader.h>
#include <hastool/simulate/NetworkTrace.h>
#include <hastool/simulate/Study.h>
#include <hastool/ui/Terminal.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Plays over computed lines, under several rules.
class SimulateCommand {
public:
    /// Adds the command and its options.
    explicit SimulateCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    void addOptions();
    void addOutputOptions();
    void completeOptions();
    void set(const std::string& text);
    std::vector<NetworkTrace> shardOf(std::vector<NetworkTrace> traces) const;
    std::vector<StudyRun> simulateAll(Terminal& terminal);

    CLI::App* m_command;
    std::vector<std::string> m_traces; ///< files and folders
    std::string m_movie;
    std::string m_rules = "adaptive,hybrid,throughput,bola-e,dynamic";
    double m_buffer = 25; ///< seconds
    std::optional<double> m_latencyMs;
    std::string m_shard;             ///< as written
    size_t m_part = 1;               ///< of
    size_t m_parts = 1;              ///< all
    std::vector<std::string> m_sets; ///< as written
    std::vector<std::string> m_merged;
    std::string m_reportPath;
    bool m_json = false;
    bool m_perTrace = false;
    bool m_quiet = false;
    StudyOptions m_options;
    EngineOptions m_engine;
};

} // namespace hastool
