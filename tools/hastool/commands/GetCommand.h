// hastool get
#pragma once

#include <hastool/base/OutputFile.h>
#include <hastool/net/Downloader.h>
#include <hastool/ui/Terminal.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Downloads URLs into files, several at once.
class GetCommand {
public:
    /// Adds the command and its options.
    explicit GetCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    /// One URL on its way into a file.
    struct Job {
        std::string url;
        std::string path;
        std::unique_ptr<OutputFile> file;
        std::unique_ptr<PartFile> part; ///< in its place with -c
        Downloader::Id id = 0;
        std::optional<Outcome> outcome;
    };

    bool readList(Terminal& terminal);
    bool planJobs(Terminal& terminal);
    std::string pathOf(const std::string& url) const;
    bool isToStandardOutput() const;
    std::unique_ptr<OutputFile> openOutput(const std::string& path) const;
    void startJob(Downloader& downloader, Job& job) const;
    bool startJobs(Downloader& downloader, Terminal& terminal);
    void runJobs(Downloader& downloader, Terminal& terminal);
    void collectEnded(const Downloader& downloader, Terminal& terminal);
    static void collect(const Outcome& ended, Job& job, Terminal& terminal);
    void tellRetry(Downloader::Id id, const std::string& what, Terminal& terminal) const;
    void showProgress(const Downloader& downloader, Terminal& terminal);
    bool isProgressDue(const Terminal& terminal);
    bool reportFailures(Terminal& terminal) const;
    void printTable() const;
    void printJson() const;

    CLI::App* m_command;
    EngineOptions m_engine;
    std::vector<std::string> m_urls;
    std::string m_list; ///< file of further URLs
    std::string m_file;
    std::string m_folder;
    std::string m_range;
    int m_parallel = 6;
    bool m_json = false;
    bool m_quiet = false;
    bool m_continue = false;

    std::vector<Job> m_jobs;
    size_t m_started = 0;     ///< of the jobs
    std::vector<Job*> m_open; ///< those that are under way
    std::chrono::steady_clock::time_point m_lastProgress;
    uint64_t m_lastBytes = 0;
};

} // namespace hastool
