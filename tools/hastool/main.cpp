#include <hastool/base/Interrupt.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>
#include <hastool/commands/BoxesCommand.h>
#include <hastool/commands/CencCommand.h>
#include <hastool/commands/CheckCommand.h>
#include <hastool/commands/DecryptCommand.h>
#include <hastool/commands/DemoCommand.h>
#include <hastool/commands/ExitCode.h>
#include <hastool/commands/GetCommand.h>
#include <hastool/commands/InfoCommand.h>
#include <hastool/commands/PlayCommand.h>
#include <hastool/commands/ServeCommand.h>
#include <hastool/commands/SimulateCommand.h>
#include <hastool/commands/SpsCommand.h>
#include <hastool/commands/TsCommand.h>
#include <hastool/commands/XPathCommand.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>
#include <sstream>
#include <string>

#include <CLI/CLI.hpp>

namespace {

/// Runs the one of the commands that the command line asks for. @return the exit status
template<typename... Commands>
int runChosen(Commands&... commands) {
    int status = hastool::kWrongUsage;
    const auto runIfChosen = [&](auto& command) {
        const bool isChosen = command.isChosen();
        if (isChosen)
            status = command.run();
        return isChosen;
    };
    (runIfChosen(commands) || ...);
    return status;
}

void addVersion(CLI::App& app) {
    constexpr char kVersion[] = "hastool " HASTOOL_VERSION;
    app.set_version_flag("--version", kVersion, "Print the version and exit");
    for (CLI::App* command : app.get_subcommands({}))
        command->set_version_flag("--version", kVersion, "Print the version and exit");
}

/// Why the first argument is no command; empty when nothing is wrong.
std::string wrongCommand(const CLI::App& app, int argc, char** argv) {
    if (argc < 2)
        return "a command is needed";
    const std::string name = argv[1];
    const auto commands =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    const bool isOption = !name.empty() && name.front() == '-';
    if (!commands.empty() || (isOption && app.get_option_no_throw(name) != nullptr))
        return {};
    return (isOption ? "no such option: " : "no such command: ") + hastool::inQuotes(name);
}

int run(int argc, char** argv) {
    CLI::App app("Downloads and plays adaptive HTTP streams, and looks into their media.",
                 "hastool");
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 failed, 2 wrong usage.\n"
               "\"hastool COMMAND --help\" shows a command's options and examples.\n");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "hastool: " + hastool::withoutSecrets(error.what()) + "\n";
    });
    // The help lists them in this order.
    hastool::DemoCommand demo(app);
    hastool::PlayCommand play(app);
    hastool::ServeCommand serve(app);
    hastool::SimulateCommand simulate(app);
    hastool::InfoCommand info(app);
    hastool::CheckCommand check(app);
    hastool::GetCommand get(app);
    hastool::DecryptCommand decrypt(app);
    hastool::CencCommand cenc(app);
    hastool::BoxesCommand boxes(app);
    hastool::TsCommand ts(app);
    hastool::SpsCommand sps(app);
    hastool::XPathCommand xpath(app);
    addVersion(app);
    if (const std::string failure = wrongCommand(app, argc, argv); !failure.empty()) {
        std::fprintf(stderr, "hastool: %s; hastool --help lists them\n", failure.c_str());
        return hastool::kWrongUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        const int status = app.exit(error, out);
        hastool::print(out.str());
        return status == 0 ? hastool::kDone : hastool::kWrongUsage;
    }
    return runChosen(demo, play, serve, simulate, info, check, get, decrypt, cenc, boxes, ts, sps,
                     xpath);
}

} // namespace

int main(int argc, char** argv) {
    hastool::catchInterrupts();
    try {
        const int status = run(argc, argv);
        hastool::finishStandardOutput();
        return status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hastool: %s\n", hastool::withoutSecrets(error.what()).c_str());
        return hastool::kFailed;
    }
}
