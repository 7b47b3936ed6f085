#include "TsCommand.h"

#include "ExitCode.h"
#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>
#include <hastool/media/PacketFinder.h>
#include <hastool/media/TsRemapper.h>
#include <hastool/media/TsScanner.h>
#include <hastool/media/TsText.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool ts segment.ts
  hastool ts --json recording.m2ts
  hastool ts --remap 0x100=0x200 --remap 257=513 -o out.ts in.ts
Packets of 188 and of 192 bytes are read. --remap also changes the PIDs in PAT, CAT and PMT.
)";

void write(OutputFile& file, const unsigned char* data, size_t size) {
    file.write(std::string_view(reinterpret_cast<const char*>(data), size));
}

} // namespace

TsCommand::TsCommand(CLI::App& app)
    : m_command(app.add_subcommand("ts", "Show what is in a transport stream, or change PIDs")) {
    CLI::App& command = *m_command;
    command.add_option("FILE", m_file, "The transport stream")->required();
    command.add_flag("--json", m_json, "Print JSON");
    CLI::Option* const remap =
        command.add_option("--remap", m_remaps, "Give the packets of PID A the PID B")
            ->type_name("A=B")
            ->allow_extra_args(false);
    CLI::Option* const output =
        command.add_option("-o,--output", m_output, "Write the stream with its new PIDs here")
            ->type_name("FILE");
    remap->needs(output);
    output->needs(remap);
    command.footer(kExamples);
}

int TsCommand::run() {
    std::string failure;
    const auto map = parsePidMap(m_remaps, failure);
    if (!map) {
        std::fprintf(stderr, "hastool: --remap: %s\n", failure.c_str());
        return kWrongUsage;
    }
    const TsReport report = scanTs(fileSource(m_file));
    if (report.packets == 0)
        throw ToolError(m_file, "no transport stream packets");
    if (!map->empty())
        remap(*map, report);
    else
        print(m_json ? toJson(report).dump(2) + "\n" : toText(report));
    return kDone;
}

void TsCommand::remap(const PidMap& map, const TsReport& report) const {
    const std::string conflict = conflictOf(map, report);
    if (!conflict.empty())
        throw ToolError(m_file, conflict);
    OutputFile file(m_output, OutputFile::Mode::Replace);
    TsRemapper remapper(map, report, m_file, [&file](const unsigned char* data, size_t size) {
        write(file, data, size);
    });
    PacketFinder packets(
        [&remapper](const TsUnit& unit) { remapper.push(unit); },
        [&remapper](const unsigned char* data, size_t size) { remapper.keep(data, size); });
    fileSource(m_file)([&](const unsigned char* data, size_t size) { packets.push(data, size); });
    packets.finish();
    remapper.finish();
    file.commit();
    const nlohmann::ordered_json json = {
        {"output", m_output}, {"packets", packets.packets()}, {"rewritten", remapper.rewritten()}};
    print(m_json ? json.dump(2) + "\n"
                 : m_output + ": " + std::to_string(packets.packets()) + " packets, " +
                       std::to_string(remapper.rewritten()) + " rewritten\n");
}

} // namespace hastool
