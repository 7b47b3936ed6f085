#include "PlayCommand.h"

#include "EngineFlags.h"
#include "ExitCode.h"
#include "SecondsCheck.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/play/BitrateGroups.h>
#include <hastool/play/StreamRules.h>
#include <hastool/report/PlayTee.h>
#include <hastool/report/Report.h>
#include <hastool/ui/PlayProgress.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>
#include <exception>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool play http://host/master.m3u8
  hastool play --fast -o film.ts http://host/master.m3u8
  hastool play --duration 60 --trace play.csv http://host/live.m3u8
  hastool play --report play.html http://host/master.m3u8
  hastool play --rule hybrid --trace play.csv http://host/manifest.mpd
  hastool play --pause-at 20:10 --limit 0-1500000 http://host/manifest.mpd
  hastool play --audio en --subtitles de -o film.ts http://host/master.m3u8
  hastool play --json --start-bitrate 1500000 http://host/master.m3u8
)";

std::chrono::milliseconds inMilliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

PlayCommand::PlayCommand(CLI::App& app)
    : m_command(
          app.add_subcommand("play", "Play an HLS, DASH or Smooth presentation without a screen")) {
    CLI::App& command = *m_command;
    command
        .add_option("URL", m_options.url,
                    "An HLS playlist, DASH manifest or Smooth Streaming manifest")
        ->required();
    command.add_option("-o,--output", m_options.output, "Write the media to this file")
        ->type_name("FILE");
    command.add_option("--trace", m_options.trace, "Record every segment, as .csv or .json")
        ->type_name("FILE");
    command.add_option("--report", m_page, "Write a page with charts of the play, as HTML")
        ->type_name("FILE");
    command.add_flag("--fast", m_options.fast, "Play as quickly as the media comes in");
    command.add_option("--duration", m_options.duration, "Stop after so many seconds of media")
        ->check(secondsCheck())
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
        ->check(secondsCheck(1))
        ->type_name("SECONDS");
    command
        .add_option("--live-timeout", m_liveTimeout,
                    "Give a live stream up after so many seconds without a new segment")
        ->capture_default_str()
        ->check(secondsCheck())
        ->type_name("SECONDS");
    command.add_flag_callback(
        "--no-low-latency", [this] { m_options.lowLatency = false; },
        "Take whole segments only, even where a live stream offers less");
    command.add_flag("--json", m_json, "Print the summary as JSON");
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
    command
        .add_option("--pause-at", m_pauseAt,
                    "Pause at this position, as a viewer would, for a while")
        ->type_name("POSITION:SECONDS");
    addRenditionOptions();
    addSwitcherOptions();
    addEngineFlags(command, m_options.engine);
    command.footer(kExamples);
}

/// Adds the options that choose among renditions.
void PlayCommand::addRenditionOptions() {
    constexpr char kWhich[] = "LANG|NAME|none";
    CLI::App& command = *m_command;
    command
        .add_option("--video", m_options.renditions.video,
                    "Play the video of this language or name; none plays the audio alone")
        ->type_name(kWhich);
    command
        .add_option("--audio", m_options.renditions.audio,
                    "Play the audio of this language or name; none leaves separate audio out")
        ->type_name(kWhich);
    command
        .add_option(
            "--subtitles", m_options.renditions.subtitles,
            "Fetch the subtitles of this language or name, and write them beside the output")
        ->type_name(kWhich);
}

/// Adds the options for the bitrate switcher.
void PlayCommand::addSwitcherOptions() {
    constexpr int kMaxInt = std::numeric_limits<int>::max();
    CLI::App& command = *m_command;
    command
        .add_option("--rule", m_options.rule,
                    "What chooses the streams: adaptive; hybrid, which spends the buffer and gives "
                    "up transfers that would outlast it; or a shared library of one's own")
        ->capture_default_str()
        ->type_name("adaptive|hybrid|FILE.so");
    command
        .add_option("--audio-bitrate", m_options.audioBitrate,
                    "Play the best audio up to this many bits per second, not the lowest; without "
                    "separate audio, what the audio in the streams comes to")
        ->check(CLI::Range(0, kMaxInt).description(""))
        ->type_name("BPS");
    command
        .add_option("--limit", m_limits,
                    "Allow these bitrates only, in bits per second; repeatable")
        ->allow_extra_args(false)
        ->type_name("A-B");
    command
        .add_option("--groups", m_groupsFile,
                    "Lines of \"bitrate,group,class\": switches within a group are free")
        ->type_name("FILE");
    command
        .add_option("--margin", m_options.marginKbps,
                    "Bandwidth to keep free, in kbit/s; 0 for about a tenth of the bitrate")
        ->check(CLI::Range(0, kMaxInt / 1000).description(""))
        ->type_name("KBPS");
    command
        .add_option("--up-timer", m_options.upTimer,
                    "Seconds that a change to a higher group waits")
        ->check(CLI::Range(0, 86400).description(""))
        ->type_name("SECONDS");
}

/// Reads the options that CLI11 leaves as text. @throws ToolError for a text that cannot be read
void PlayCommand::completeOptions() {
    if (!isStreamRule(m_options.rule))
        throw ToolError("--rule", "neither adaptive nor hybrid nor a name that ends in .so: " +
                                      inQuotes(m_options.rule));
    m_options.bufferGoal = inMilliseconds(m_bufferGoal);
    m_options.liveTimeout = inMilliseconds(m_liveTimeout);
    for (const std::string& text : m_limits) {
        const auto limit = parseBitrateLimit(text);
        if (!limit)
            throw ToolError("--limit", "not a range of bitrates: " + inQuotes(text));
        m_options.limits.push_back(*limit);
    }
    if (!m_groupsFile.empty()) {
        std::string text;
        fileSource(m_groupsFile)([&](const unsigned char* data, size_t size) {
            text.append(reinterpret_cast<const char*>(data), size);
        });
        m_options.groups = parseBitrateGroups(text, m_groupsFile);
    }
    if (m_pauseAt.empty())
        return;
    const auto pause = parsePauseAt(m_pauseAt);
    if (!pause)
        throw ToolError("--pause-at", "not a position and a time: " + inQuotes(m_pauseAt));
    std::tie(m_options.pauseAt, m_options.pauseFor) = *pause;
}

int PlayCommand::run() {
    Terminal terminal(m_quiet);
    if (!m_options.trace.empty() && !Trace::isTraceName(m_options.trace)) {
        terminal.trouble("--trace: a name that ends in .csv or .json is needed: " +
                         inQuotes(m_options.trace));
        return kWrongUsage;
    }
    try {
        completeOptions();
    } catch (const ToolError& error) {
        terminal.trouble(error.what());
        return kWrongUsage;
    }
    if (const std::string trouble = troubleOf(m_options.engine); !trouble.empty())
        terminal.trouble(trouble);
    play(terminal);
    if (isInterrupted())
        throw ToolError(m_options.url, "interrupted");
    return kDone;
}

/// Plays, and writes the report however the play ends. A page that cannot be written is noticed
/// before the play.
void PlayCommand::play(Terminal& terminal) {
    std::optional<OutputFile> page;
    if (!m_page.empty())
        page.emplace(m_page, OutputFile::Mode::Replace);
    PlayProgress progress(terminal);
    ReportedPlay played;
    PlayTee both({&progress, &played.record});
    Player player(m_options, page ? static_cast<PlayObserver&>(both) : progress);
    std::exception_ptr failure;
    try {
        player.play();
    } catch (const ToolError& error) {
        failure = std::current_exception();
        played.failure = error.what();
    }
    terminal.clear();
    played.summary = player.summary();
    if (!failure || played.summary.segments > 0)
        report(played.summary);
    if (page)
        writePage(*page, std::move(played));
    if (failure)
        std::rethrow_exception(failure);
}

void PlayCommand::writePage(OutputFile& page, ReportedPlay play) const {
    if (isInterrupted())
        play.failure = "interrupted";
    play.title = m_options.url;
    Report report("hastool play");
    report.add(std::move(play));
    page.write(report.html());
    page.commit();
}

void PlayCommand::report(const Summary& summary) const {
    print(m_json ? toJson(summary).dump(2) + "\n" : toText(summary));
}

} // namespace hastool
