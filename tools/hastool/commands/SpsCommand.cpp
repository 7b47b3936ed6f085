#include "SpsCommand.h"

#include "ExitCode.h"
#include <hastool/base/ToolError.h>
#include <hastool/media/SpsList.h>
#include <hastool/media/SpsText.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool sps video.h264
  hastool sps segment.ts
  hastool sps --json recording.m2ts
  hastool sps video.mp4
Takes Annex B streams, transport streams with packets of 188 or 192 bytes, and MP4 files.
)";

} // namespace

SpsCommand::SpsCommand(CLI::App& app)
    : m_command(app.add_subcommand("sps", "Show an H.264 video's parameter sets and size")) {
    m_command->add_option("FILE", m_file, "The video")->required();
    m_command->add_flag("--json", m_json, "Print JSON");
    m_command->footer(kExamples);
}

int SpsCommand::run() {
    const std::vector<SpsInfo> sets = findSps(fileSource(m_file));
    if (sets.empty())
        throw ToolError(m_file, "no SPS");
    const std::string text = m_json ? toJson(sets).dump(2) + "\n" : toText(sets);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return kDone;
}

} // namespace hastool
