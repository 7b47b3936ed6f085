#include "DemoCommand.h"

#include "ExitCode.h"
#include "SecondsCheck.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>
#include <hastool/origin/ServedFolder.h>
#include <hastool/report/Report.h>
#include <hastool/ui/StandardOutput.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool demo
  hastool demo --only dash-cenc --duration 10
Plays the built-in presentations all at once, in real time, each from a server
of its own over a line that rises, collapses, recovers and once is cut.
)";

std::filesystem::path mediaFolder(const std::string& named) {
    if (!named.empty())
        return named;
    const auto builtIn = builtInPresentations();
    if (!builtIn)
        throw ToolError("--media", kPresentationsMissing);
    return *builtIn;
}

} // namespace

DemoCommand::DemoCommand(CLI::App& app)
    : m_command(app.add_subcommand(
          "demo", "Play the built-in presentations from the tool itself, and check them")) {
    CLI::App& command = *m_command;
    command.add_option("--only", m_options.only, "Play this presentation alone; repeatable")
        ->allow_extra_args(false)
        ->type_name("NAME");
    command
        .add_option("--media", m_media, "The folder of the presentations, if not the built-in one")
        ->type_name("DIR");
    command.add_option("--duration", m_options.duration, "Stop after so many seconds of media")
        ->check(secondsCheck())
        ->type_name("SECONDS");
    command
        .add_option("--report", m_page, "Write the page with the charts of all plays to this file")
        ->capture_default_str()
        ->type_name("FILE");
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
    command.footer(kExamples);
}

int DemoCommand::run() {
    Terminal terminal(m_quiet);
    std::optional<Demo> demo;
    std::deque<ReportedPlay> plays; // a deque: the records in it observe plays and must not move
    m_options.observerOf = [&plays](const DemoItem& item) {
        plays.emplace_back();
        plays.back().title = item.name;
        return &plays.back().record;
    };
    try {
        m_options.media = mediaFolder(m_media);
        demo.emplace(m_options);
    } catch (const ToolError& error) {
        terminal.trouble(error.what());
        return kWrongUsage;
    }
    const std::vector<DemoResult> results = demo->run(terminal);
    if (isInterrupted())
        throw ToolError("demo", "interrupted");
    writePage(plays, results);
    const std::string text = toText(results) + "report: " + m_page + "\n";
    print(text);
    const bool isGood = std::all_of(results.begin(), results.end(), [](const DemoResult& result) {
        return result.failures.empty();
    });
    return isGood ? kDone : kFailed;
}

void DemoCommand::writePage(std::deque<ReportedPlay>& plays,
                            const std::vector<DemoResult>& results) const {
    Report report("hastool demo");
    for (size_t i = 0; i < plays.size(); ++i) {
        plays[i].summary = results[i].summary;
        if (!results[i].failures.empty())
            plays[i].failure = results[i].failures.front();
        report.add(std::move(plays[i]));
    }
    OutputFile page(m_page, OutputFile::Mode::Replace);
    page.write(report.html());
    page.commit();
}

} // namespace hastool
