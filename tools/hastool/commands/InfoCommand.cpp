#include "InfoCommand.h"

#include "EngineFlags.h"
#include "ExitCode.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/info/DocumentFetcher.h>
#include <hastool/info/InfoJson.h>
#include <hastool/info/InfoReader.h>
#include <hastool/info/InfoText.h>
#include <hastool/ui/StandardOutput.h>
#include <hastool/ui/Terminal.h>

#include <chrono>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr int kRetries = 3;
constexpr std::chrono::minutes kIdleTime{1};   // unless --timeout says otherwise
constexpr std::chrono::minutes kTotalTime{10}; // unless --max-time says otherwise

constexpr char kExamples[] = R"(Examples:
  hastool info http://host/master.m3u8
  hastool info --json http://host/manifest.mpd
  hastool info --timeout 5 --max-time 30 http://host/channel.isml/Manifest
Nothing is fetched but manifests, playlists and segment indexes. It ends after 10 minutes at the
latest, and gives a download up after one minute without a byte, unless --max-time (for all
downloads together here) and --timeout say otherwise. When a playlist or an index cannot be had, the
rest is printed, and the exit status is 1.
)";

} // namespace

InfoCommand::InfoCommand(CLI::App& app)
    : m_command(app.add_subcommand("info", "Tell what a presentation holds, without playing it")) {
    CLI::App& command = *m_command;
    m_engine.maxRetries = kRetries;
    m_engine.limits.idle = kIdleTime;
    m_engine.limits.total = kTotalTime;
    command.add_option("URL", m_url, "An HLS playlist, DASH manifest or Smooth Streaming manifest")
        ->required();
    command.add_flag("--json", m_json, "Print it as JSON");
    addEngineFlags(command, m_engine);
    command.footer(kExamples);
}

int InfoCommand::run() {
    Terminal terminal(false);
    if (const std::string trouble = troubleOf(m_engine); !trouble.empty())
        terminal.trouble(trouble);
    DocumentFetcher fetcher(m_engine);
    InfoAccess access;
    access.fetch = [&](const Resource& resource) { return fetcher.fetch(resource); };
    access.expect = [&](const std::vector<Resource>& resources) { fetcher.expect(resources); };
    const PresentationInfo info = readInfo(m_url, access);
    constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
    print(m_json ? toJson(info).dump(2, ' ', true, kReplace) + "\n" : toText(info));
    if (isInterrupted())
        throw ToolError(m_url, "interrupted");
    if (const size_t failures = info.failures(); failures > 0)
        throw ToolError(m_url, std::to_string(failures) + (failures == 1 ? " part" : " parts") +
                                   " of the presentation could not be read");
    return kDone;
}

} // namespace hastool
