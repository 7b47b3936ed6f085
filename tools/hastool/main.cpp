#include "commands/BoxesCommand.h"
#include "commands/CencCommand.h"
#include "commands/DecryptCommand.h"
#include "commands/DemoCommand.h"
#include "commands/ExitCode.h"
#include "commands/GetCommand.h"
#include "commands/PlayCommand.h"
#include "commands/ServeCommand.h"
#include "commands/SpsCommand.h"
#include "commands/TsCommand.h"
#include "commands/XPathCommand.h"
#include "engine/Interrupt.h"
#include "engine/ToolError.h"

#include <Hascommon/Linux/Dlog.h>

#include <cstdio>
#include <cstdlib>

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

int run(int argc, char** argv) {
    CLI::App app("Downloads and plays adaptive HTTP streams, and looks into their media.",
                 "hastool");
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 failed, 2 wrong usage.\n"
               "\"hastool COMMAND --help\" shows a command's options and examples.\n");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "hastool: " + std::string(error.what()) + "\n";
    });
    // In the order of the help.
    hastool::DemoCommand demo(app);
    hastool::PlayCommand play(app);
    hastool::ServeCommand serve(app);
    hastool::GetCommand get(app);
    hastool::DecryptCommand decrypt(app);
    hastool::CencCommand cenc(app);
    hastool::BoxesCommand boxes(app);
    hastool::TsCommand ts(app);
    hastool::SpsCommand sps(app);
    hastool::XPathCommand xpath(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? hastool::kDone : hastool::kWrongUsage;
    }
    return runChosen(demo, play, serve, get, decrypt, cenc, boxes, ts, sps, xpath);
}

} // namespace

int main(int argc, char** argv) {
    hastool::catchInterrupts();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hastool: %s\n", error.what());
        return hastool::kFailed;
    }
}
