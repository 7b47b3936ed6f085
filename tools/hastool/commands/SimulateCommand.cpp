#include "SimulateCommand.h"

#include "EngineFlags.h"
#include "ExitCode.h"
#include "SecondsCheck.h"
#include <hastool/base/Number.h>
#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>
#include <hastool/report/StudyPage.h>
#include <hastool/simulate/LoadMovie.h>
#include <hastool/simulate/StudyText.h>
#include <hastool/simulate/TraceFile.h>
#include <hastool/simulate/TraceText.h>
#include <hastool/ui/StandardOutput.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

namespace hastool {
namespace {

constexpr int kRetries = 3;
constexpr std::chrono::seconds kIdleTime{15};  // unless --timeout says otherwise
constexpr std::chrono::minutes kTotalTime{10}; // unless --max-time says otherwise
constexpr uint64_t kMaxParts = 1000000;
constexpr double kMaxKbps = std::numeric_limits<int>::max() / 1000;
constexpr double kMaxUpTimer = 86400;
constexpr double kMaxRuleValue = 1e9;

constexpr char kExamples[] = R"(Examples:
  hastool simulate --trace traces/3G --movie film.json
  hastool simulate --trace play.csv --movie http://host/master.m3u8 --rule adaptive,hybrid
  hastool simulate --trace traces/3G traces/4G --movie film.json --report study.html
  hastool simulate --trace traces/3G --movie film.json --rule hybrid,./mine.so --per-trace
  hastool simulate --trace traces --movie film.json --shard 3/8 --json > part3.jsonl
  hastool simulate --merge part1.jsonl part2.jsonl part3.jsonl --report study.html
Plays a movie over the line that a trace tells of, without a network and as fast as the processor
goes, under each rule, and shows what a viewer would have had; docs/adaptation.md tells of the rules,
the figures and the formats. A trace is a record of play --trace, a JSON list of duration_ms,
bandwidth_kbps and latency_ms, lines of time_s,kbps or of seconds and Mbit/s, or packet times in
milliseconds. A movie is a JSON file of segment_duration_ms, bitrates_kbps and segment_sizes_bits, or
a manifest, of which the video counts. Names for --set: hold=fit or hold=goal, noise (a part of the
rates), seed, margin (kbit/s), up-timer (seconds), damping=1 for bola, bola-e and dynamic.
)";

std::chrono::microseconds inMicroseconds(double seconds) {
    return std::chrono::microseconds(std::llround(seconds * 1e6));
}

std::vector<std::string> namesIn(const std::string& list) {
    std::vector<std::string> names;
    for (const std::string_view it : splitAt(list, ",", true))
        names.emplace_back(it);
    return names;
}

/// @throws ToolError for a text that is no number from 0 to `most`
double valueOf(const std::string& name, const std::string& text, double most) {
    const auto value = parseDecimal(text);
    if (!value || *value > most)
        throw ToolError("--set " + name, "not a number that it takes: " + inQuotes(text));
    return *value;
}

unsigned processors() {
    return std::max(std::thread::hardware_concurrency(), 1U);
}

} // namespace

SimulateCommand::SimulateCommand(CLI::App& app)
    : m_command(app.add_subcommand("simulate", "Compare adaptation rules over recorded lines")) {
    m_engine.maxRetries = kRetries;
    m_engine.limits.idle = kIdleTime;
    m_engine.limits.total = kTotalTime;
    m_options.jobs = processors();
    addOptions();
    addOutputOptions();
    addEngineFlags(*m_command, m_engine);
    m_command->footer(kExamples);
}

void SimulateCommand::addOptions() {
    CLI::App& command = *m_command;
    command
        .add_option("--trace", m_traces,
                    "A line's record, or a folder of them, which is a set; repeatable")
        ->type_name("FILE|FOLDER");
    command
        .add_option("--movie", m_movie,
                    "What is played: sizes as JSON, or a manifest's URL, file or folder")
        ->type_name("FILE|URL");
    command
        .add_option("--rule", m_rules,
                    "The rules: adaptive, hybrid, throughput, bola, bola-e, dynamic, fixed=N for a "
                    "stream from 0, or a library of one's own")
        ->capture_default_str()
        ->type_name("NAME|FILE.so,...");
    command.add_option("--buffer", m_buffer, "Seconds of media to hold ahead")
        ->capture_default_str()
        ->check(secondsCheck(1))
        ->type_name("SECONDS");
    command
        .add_option("--latency", m_latencyMs,
                    "From a request to the first byte, in place of what traces say; those that say "
                    "nothing have none")
        ->check(CLI::Range(0.0, 60000.0).description(""))
        ->type_name("MS");
    command.add_flag_callback(
        "--no-abandon", [this] { m_options.simulation.abandon = false; },
        "Let no rule give a transfer up");
    command.add_option("--set", m_sets, "Set a value of the simulation or of rules; repeatable")
        ->allow_extra_args(false)
        ->type_name("NAME=VALUE");
    command
        .add_option("--jobs", m_options.jobs, "How many run at once; all processors unless told")
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N");
    command.add_option("--shard", m_shard, "Take every N-th trace alone, from the I-th on")
        ->type_name("I/N");
    command
        .add_option("--merge", m_merged,
                    "Show what these files of --json tell, in place of simulating")
        ->type_name("FILE");
}

void SimulateCommand::addOutputOptions() {
    CLI::App& command = *m_command;
    command.add_flag("--per-trace", m_perTrace, "Show each trace's figures too");
    command.add_flag("--json", m_json, "Print a line of JSON for each run, and no table");
    command.add_option("--report", m_reportPath, "Write a page with charts, as HTML")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
}

/// Reads the options that CLI11 leaves as text. @throws ToolError for a text that cannot be read
void SimulateCommand::completeOptions() {
    const bool isWhole = !m_traces.empty() && !m_movie.empty();
    const bool isNamed = !m_traces.empty() || !m_movie.empty();
    if (m_merged.empty() ? !isWhole : isNamed)
        throw ToolError("simulate", "--trace and --movie, or --merge alone, are needed");
    m_options.rules = namesIn(m_rules);
    if (m_options.rules.empty())
        throw ToolError("--rule", "no rule");
    m_options.simulation.bufferGoal = inMicroseconds(m_buffer);
    if (m_latencyMs)
        m_options.simulation.latency = inMicroseconds(*m_latencyMs / 1000);
    for (const std::string& it : m_sets)
        set(it);
    for (const std::string& it : m_options.rules)
        makeRule(it, m_options.values);
    if (m_shard.empty())
        return;
    const auto numbers = splitAt(m_shard, "/", false);
    const auto part = parseUnsigned(numbers.front());
    const auto parts = numbers.size() == 2 ? parseUnsigned(numbers.back()) : std::nullopt;
    if (!part || !parts || *part < 1 || *part > *parts || *parts > kMaxParts)
        throw ToolError("--shard", "not I/N with I from 1 to N: " + inQuotes(m_shard));
    m_part = static_cast<size_t>(*part);
    m_parts = static_cast<size_t>(*parts);
}

void SimulateCommand::set(const std::string& text) {
    const size_t equals = std::min(text.find('='), text.size());
    const std::string name = text.substr(0, equals);
    const std::string value = text.substr(std::min(equals + 1, text.size()));
    SimulationOptions& simulation = m_options.simulation;
    if (name == "hold" && (value == "fit" || value == "goal"))
        simulation.hold =
            value == "fit" ? SimulationOptions::Hold::Fit : SimulationOptions::Hold::Goal;
    else if (name == "noise")
        simulation.noise = valueOf(name, value, 1);
    else if (name == "seed" && parseUnsigned(value))
        simulation.seed = *parseUnsigned(value);
    else if (name == "margin")
        simulation.marginKbps = static_cast<int>(valueOf(name, value, kMaxKbps));
    else if (name == "up-timer")
        simulation.upTimer = static_cast<int>(valueOf(name, value, kMaxUpTimer));
    else if (isRuleValue(name))
        m_options.values[name] = valueOf(name, value, kMaxRuleValue);
    else
        throw ToolError("--set", "not a name and a value that it takes: " + inQuotes(text));
}

std::vector<NetworkTrace> SimulateCommand::shardOf(std::vector<NetworkTrace> traces) const {
    std::vector<NetworkTrace> shard;
    for (size_t i = m_part - 1; i < traces.size(); i += m_parts)
        shard.push_back(std::move(traces[i]));
    return shard;
}

int SimulateCommand::run() {
    Terminal terminal(m_quiet);
    try {
        completeOptions();
    } catch (const ToolError& error) {
        terminal.trouble(error.what());
        return kWrongUsage;
    }
    // A report that cannot be written is noticed before everything is simulated.
    std::optional<OutputFile> page;
    if (!m_reportPath.empty())
        page.emplace(m_reportPath, OutputFile::Mode::Replace);
    const bool isMerged = !m_merged.empty();
    const std::vector<StudyRun> runs = isMerged ? loadRuns(m_merged) : simulateAll(terminal);
    terminal.clear();
    if (isMerged && m_json) {
        for (const StudyRun& it : runs)
            print(toLine(it));
    }
    if (page) {
        page->write(studyPage(runs));
        page->commit();
    }
    if (!m_json)
        print(studyText(runs, m_perTrace));
    return kDone;
}

std::vector<StudyRun> SimulateCommand::simulateAll(Terminal& terminal) {
    const Movie movie = loadMovie(m_movie, m_engine,
                                  [&](const std::string& trouble) { terminal.trouble(trouble); });
    const std::vector<NetworkTrace> traces = shardOf(loadTraces(m_traces));
    const std::string all = std::to_string(traces.size() * m_options.rules.size());
    std::vector<StudyRun> runs;
    size_t done = 0;
    runStudy(movie, traces, m_options, [&](StudyRun run) {
        if (m_json)
            print(toLine(run));
        if (terminal.isLive())
            terminal.live(std::to_string(++done) + " of " + all + " plays");
        // Only a page draws what happened within a play: a long study would fill the memory.
        if (m_reportPath.empty()) {
            run.run.segments = {};
            run.line = {};
        }
        if (!m_json || !m_reportPath.empty())
            runs.push_back(std::move(run));
        return true;
    });
    return runs;
}

} // namespace hastool
