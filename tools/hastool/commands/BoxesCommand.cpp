#include "BoxesCommand.h"

#include "ExitCode.h"
#include <hastool/base/ToolError.h>
#include <hastool/media/BoxText.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool boxes video.mp4
  hastool boxes --json init.mp4
Each line is a box: its type, its place and size in bytes, and its fields.
A broken file is shown as far as it can be read.
)";

} // namespace

BoxesCommand::BoxesCommand(CLI::App& app)
    : m_command(app.add_subcommand("boxes", "Show the boxes of an MP4 file")) {
    m_command->add_option("FILE", m_file, "The file")->required();
    m_command->add_flag("--json", m_json, "Print JSON");
    m_command->footer(kExamples);
}

int BoxesCommand::run() {
    const BlockSource source = fileBlocks(m_file);
    if (source.size == 0)
        throw ToolError(m_file, "no boxes: the file is empty");
    BoxJson json;
    const auto trouble =
        walkBoxes(source, [&](const BoxInfo& box) { print(m_json ? json.add(box) : toText(box)); });
    if (m_json)
        print(json.finish());
    if (trouble)
        throw ToolError(m_file, "offset " + std::to_string(trouble->offset) + ": " + trouble->what);
    return kDone;
}

} // namespace hastool
