#include "CheckCommand.h"

#include "EngineFlags.h"
#include "ExitCode.h"
#include "SecondsCheck.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>
#include <hastool/check/CheckJson.h>
#include <hastool/check/CheckText.h>
#include <hastool/check/EngineSource.h>
#include <hastool/check/FolderSource.h>
#include <hastool/check/Rule.h>
#include <hastool/check/RuleText.h>
#include <hastool/report/CheckPage.h>
#include <hastool/ui/StandardOutput.h>
#include <hastool/ui/Terminal.h>

#include <chrono>
#include <optional>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr int kRetries = 0;                    // what fails once fails viewers too
constexpr std::chrono::seconds kIdleTime{15};  // unless --timeout says otherwise
constexpr std::chrono::minutes kTotalTime{10}; // unless --max-time says otherwise
constexpr std::chrono::seconds kProbeTime{10}; // for a server's certificate

constexpr char kExamples[] = R"(Examples:
  hastool check http://host/master.m3u8
  hastool check --sample 4 --report check.html http://host/manifest.mpd
  hastool check --for 120 --strict http://host/live.m3u8
  hastool check --json /srv/media/film
Looks into the manifest, all playlists and all segments, and lists what is wrong, the worst first,
each with the clause it rests on; docs/check.md explains every code. A folder is looked into as if a
server had it, without what only a server does. Of a live presentation the last three segments are
looked at and then those that come. It ends after 10 minutes at the latest (--max-time), and gives a
download up after 15 seconds without a byte (--timeout). The exit status is 1 with errors, with
--strict also with warnings.
)";

bool isUrl(const std::string& text) {
    return text.find("://") != std::string::npos;
}

} // namespace

CheckCommand::CheckCommand(CLI::App& app)
    : m_command(app.add_subcommand("check", "Say what is wrong with a presentation")) {
    m_engine.maxRetries = kRetries;
    m_engine.limits.idle = kIdleTime;
    m_engine.limits.total = kTotalTime;
    addOptions();
    addEngineFlags(*m_command, m_engine);
    m_command->footer(kExamples);
}

void CheckCommand::addOptions() {
    CLI::App& command = *m_command;
    command.add_option("URL", m_what, "A manifest's URL or file, or a folder with a manifest")
        ->required();
    command.add_flag("--json", m_json, "Print it as JSON");
    command.add_option("--report", m_reportPath, "Write a page with charts")->type_name("FILE");
    command.add_flag("--strict", m_strict, "Exit with status 1 for warnings too");
    command.add_flag("--manifest-only", m_options.manifestOnly, "Fetch no segments");
    command
        .add_option("--sample", m_options.sample,
                    "Fetch only N segments of each rendition, spread over its length")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000));
    command.add_option("--for", m_options.liveSeconds, "How long a live presentation is followed")
        ->type_name("SECONDS")
        ->check(secondsCheck())
        ->capture_default_str();
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
    const auto listRules = [] {
        print(rulesAsMarkdown());
        throw CLI::Success();
    };
    command.add_flag_callback("--list-rules", listRules, "Print all that is looked for, and exit");
}

int CheckCommand::run() {
    // A report that cannot be written is noticed before everything is fetched.
    std::optional<OutputFile> report;
    if (!m_reportPath.empty())
        report.emplace(m_reportPath, OutputFile::Mode::Replace);
    const Evidence evidence = gatherAll();
    const Findings findings = judge(evidence);
    if (report) {
        report->write(checkPage(evidence, findings));
        report->commit();
    }
    constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
    print(m_json ? toJson(evidence, findings).dump(2, ' ', true, kReplace) + "\n"
                 : toText(evidence, findings));
    if (isInterrupted())
        throw ToolError(m_what, "interrupted");
    return statusFor(findings);
}

Evidence CheckCommand::gatherAll() {
    Terminal terminal(m_quiet);
    if (const std::string trouble = troubleOf(m_engine); !trouble.empty())
        terminal.trouble(trouble);
    m_options.progress = [&](size_t segments, size_t known) {
        if (terminal.isLive())
            terminal.live(std::to_string(segments) + " of " + std::to_string(known) +
                          " segments looked into");
    };
    m_options.probe = [this](const ProbedServer& server) {
        return probeCertificate(server, m_engine.caFile, kProbeTime);
    };
    EngineSource servers(m_engine);
    if (isUrl(m_what))
        return gather(m_what, servers, m_options);
    const LocalPresentation local = findPresentation(m_what);
    FolderSource folder(local.folder, servers);
    return gather(local.url, folder, m_options);
}

int CheckCommand::statusFor(const Findings& findings) const {
    const bool isBad =
        findings.count(Severity::Error) > 0 || (m_strict && findings.count(Severity::Warning) > 0);
    return isBad ? kFailed : kDone;
}

} // namespace hastool
