#include "ServeCommand.h"

#include <hastool/base/Quantities.h>

#include "ExitCode.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/origin/Origin.h>
#include <hastool/origin/ServedFolder.h>
#include <hastool/ui/StandardOutput.h>
#include <hastool/ui/Terminal.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool serve
  hastool serve --root segments --port 8080 --profile rates.csv
  hastool serve --live --low-latency
  hastool serve --fault 'seg=7:404*2' --fault 'path=/audio:stall=2'
Faults are WHICH:WHAT or WHICH:WHAT*TIMES. WHICH is seg=N, the Nth segment of
each stream, or path=TEXT, a part of the path. WHAT is a status from 400 to
599, reset, stall=SECONDS or truncate=BYTES.
)";

constexpr std::chrono::milliseconds kTick{50};

std::string rootOf(const std::string& root) {
    if (!root.empty())
        return root;
    const auto builtIn = builtInPresentations();
    if (!builtIn)
        throw ToolError("--root", kPresentationsMissing);
    return builtIn->string();
}

std::string whatOf(const Fault& fault) {
    switch (fault.kind) {
    case Fault::Kind::Status:
        return std::to_string(fault.status);
    case Fault::Kind::Reset:
        return "reset";
    case Fault::Kind::Stall:
        return "stalled for " + secondsText(fault.seconds);
    case Fault::Kind::Truncate:
        break;
    }
    return "cut behind " + std::to_string(fault.bytes) + " bytes";
}

} // namespace

ServeCommand::ServeCommand(CLI::App& app)
    : m_command(app.add_subcommand(
          "serve", "Serve a folder of presentations, at a changing rate and with faults")) {
    CLI::App& command = *m_command;
    command.add_option("--root", m_root, "Serve this folder, not the built-in presentations")
        ->type_name("DIR");
    command.add_option("--port", m_port, "The port on 127.0.0.1; a free one without it")
        ->type_name("N");
    command
        .add_option("--profile", m_profile,
                    "Rates over time: CSV lines of seconds and kbit/s, or JSON")
        ->type_name("FILE");
    command.add_option("--fault", m_faults, "Let requests fail; repeatable")
        ->allow_extra_args(false)
        ->type_name("WHICH:WHAT");
    command.add_flag("--live", m_live, "Publish HLS and DASH live, their media repeated for ever");
    command.add_flag("--low-latency", m_lowLatency,
                     "With --live: chunked segments (DASH), parts and blocking reload (HLS)");
    command.footer(kExamples);
}

int ServeCommand::run() {
    Terminal terminal(false);
    OriginOptions options;
    try {
        options.root = rootOf(m_root);
        if (!m_profile.empty())
            options.profile = RateProfile::load(m_profile);
        const FaultRules rules(m_faults); // only to throw what is wrong with them
        if (m_lowLatency && !m_live)
            throw ToolError("--low-latency", "needs --live");
    } catch (const ToolError& error) {
        terminal.trouble(error.what());
        return kWrongUsage;
    }
    options.port = m_port;
    options.faults = m_faults;
    if (m_live) {
        options.live.emplace();
        options.live->lowLatency = m_lowLatency;
    }
    options.onFault = [](const std::string& path, const Fault& fault) {
        std::fprintf(stderr, "%s: %s\n", encodedPath(path).c_str(), whatOf(fault).c_str());
    };
    Origin origin(options);
    for (const std::string& url : origin.presentations())
        print(url + "\n");
    finishStandardOutput();
    for (const std::string& problem : origin.problems())
        terminal.trouble(problem);
    terminal.line("serving " + options.root.string() + " at " + origin.url("/") +
                  " until interrupted");
    while (!isInterrupted())
        std::this_thread::sleep_for(kTick);
    return kDone;
}

} // namespace hastool
