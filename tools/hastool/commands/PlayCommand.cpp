#include "PlayCommand.h"

#include "../engine/Interrupt.h"
#include "../engine/ToolError.h"
#include "../ui/PlayProgress.h"
#include "EngineFlags.h"
#include "ExitCode.h"

#include <cstdio>
#include <limits>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool play http://host/master.m3u8
  hastool play --fast -o film.ts http://host/master.m3u8
  hastool play --duration 60 --trace play.csv http://host/live.m3u8
  hastool play --json --start-bitrate 1500000 http://host/master.m3u8
)";

std::chrono::milliseconds inMilliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

PlayCommand::PlayCommand(CLI::App& app)
    : m_command(app.add_subcommand("play", "Play an HLS presentation without a screen")) {
    constexpr double kMaxSeconds = 1e6;
    CLI::App& command = *m_command;
    command.add_option("URL", m_options.url, "A master or media playlist")->required();
    command.add_option("-o,--output", m_options.output, "Write the media to this file")
        ->type_name("FILE");
    command.add_option("--trace", m_options.trace, "Record every segment, as .csv or .json")
        ->type_name("FILE");
    command.add_flag("--fast", m_options.fast, "Play as quickly as the media comes in");
    command.add_option("--duration", m_options.duration, "Stop after so many seconds of media")
        ->check(CLI::Range(0.0, kMaxSeconds).description(""))
        ->type_name("SECONDS");
    command.add_option("--max-segments", m_options.maxSegments, "Stop after so many segments")
        ->type_name("N");
    command
        .add_option("--start-bitrate", m_options.startBitrate,
                    "Begin with the best stream up to this many bits per second, not the lowest")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""))
        ->type_name("BPS");
    command.add_option("--buffer", m_bufferGoal, "Seconds of media to hold ahead")
        ->capture_default_str()
        ->check(CLI::Range(1.0, kMaxSeconds).description(""))
        ->type_name("SECONDS");
    command
        .add_option("--live-timeout", m_liveTimeout,
                    "Give a live stream up after so many seconds without a new segment")
        ->capture_default_str()
        ->check(CLI::Range(0.0, kMaxSeconds).description(""))
        ->type_name("SECONDS");
    command.add_flag("--json", m_json, "Print the summary as JSON");
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
    addEngineFlags(command, m_options.engine);
    command.footer(kExamples);
}

int PlayCommand::run() {
    Terminal terminal(m_quiet);
    if (!m_options.trace.empty() && !Trace::isTraceName(m_options.trace)) {
        terminal.trouble("--trace: a name that ends in .csv or .json is needed: " +
                         inQuotes(m_options.trace));
        return kWrongUsage;
    }
    m_options.bufferGoal = inMilliseconds(m_bufferGoal);
    m_options.liveTimeout = inMilliseconds(m_liveTimeout);
    PlayProgress progress(terminal);
    Player player(m_options, progress);
    try {
        player.play();
    } catch (const ToolError&) {
        terminal.clear();
        if (player.summary().segments > 0)
            report(player.summary());
        throw;
    }
    terminal.clear();
    report(player.summary());
    if (isInterrupted())
        throw ToolError(m_options.url, "interrupted");
    return kDone;
}

void PlayCommand::report(const Summary& summary) const {
    const std::string text = m_json ? toJson(summary).dump(2) + "\n" : toText(summary);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

} // namespace hastool
