#include "CencCommand.h"

#include "ExitCode.h"
#include <hastool/base/OutputFile.h>
#include <hastool/base/PsshText.h>
#include <hastool/base/ToolError.h>
#include <hastool/ui/StandardOutput.h>

#include <cstdio>
#include <filesystem>

namespace hastool {
namespace {

constexpr size_t kMaxChunk = 4u << 20; // the handlers keep back little more than this

constexpr char kExamples[] = R"(Examples:
  hastool cenc in.mp4 out.mp4 --pssh AAAA... \
      --scheme-id urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95
  hastool cenc --separate --chunk 1460 in.mp4 out.mp4 \
      --scheme-id urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4
The media stay encrypted; only pssh boxes are put in, replaced or made "free".
)";

/// The output's size, and what was changed in it if it is a file that can be read again.
std::string summary(const std::string& path, const PsshBoxes& before, uint64_t size) {
    std::string text = path + ": " + std::to_string(size) + " bytes";
    if (std::filesystem::is_regular_file(path))
        text += ", " + changesOf(before, findPsshBoxes(fileBlocks(path), path)).text();
    return text + "\n";
}

} // namespace

CencCommand::CencCommand(CLI::App& app)
    : m_command(app.add_subcommand("cenc", "Pass an encrypted MP4 file through a DRM handler")) {
    CLI::App& command = *m_command;
    command.add_option("IN", m_input, "The file, encrypted or not")->required();
    command.add_option("OUT", m_output, "The file to write")->required();
    command.add_option("--scheme-id", m_schemeId, "The scheme id of the DRM system")
        ->type_name("URN")
        ->required();
    command.add_option("--pssh", m_pssh, "PSSH data, or a whole pssh box, as the manifest has it")
        ->type_name("BASE64");
    CLI::Option* const muxed =
        command.add_flag("--muxed", m_isMuxed, "Audio and video in one: change the movie");
    command
        .add_flag("--separate", m_isSeparate, "Audio or video alone: change the movie fragments")
        ->excludes(muxed);
    command.add_option("--chunk", m_chunk, "Bytes that are handed over at a time")
        ->check(CLI::Range(size_t{1}, kMaxChunk).description(""))
        ->type_name("BYTES")
        ->capture_default_str();
    command.footer(kExamples);
}

int CencCommand::run() {
    const auto pssh = psshDataText(m_pssh);
    if (!pssh) {
        std::fprintf(stderr, "hastool: --pssh: not base64: %s\n", inQuotes(m_pssh).c_str());
        return kWrongUsage;
    }
    const BlockSource source = fileBlocks(m_input);
    const PsshBoxes before = findPsshBoxes(source, m_input);
    const bool isSeparate = m_isSeparate || (!m_isMuxed && before.tracks < 2);
    const CencContent content{m_schemeId, *pssh, isSeparate};
    const std::vector<BytePatch> patches = patchesFor(source, before, content);
    OutputFile file(m_output, OutputFile::Mode::Replace);
    uint64_t size = 0;
    passThroughHandler(source, m_input, before, content, m_chunk,
                       [&](const unsigned char* data, size_t count) {
                           const std::string_view piece(reinterpret_cast<const char*>(data), count);
                           file.write(withPatches(piece, size, patches));
                           size += count;
                       });
    file.commit();
    print(summary(m_output, before, size));
    return kDone;
}

/// An index stands before the boxes that it leads to, so it needs to know by how much they grow
/// before they are written: a first pass finds that out.
std::vector<BytePatch> CencCommand::patchesFor(const BlockSource& source, const PsshBoxes& boxes,
                                               const CencContent& content) const {
    if (!hasIndex(source))
        return {};
    BoxSizes sizes;
    passThroughHandler(
        source, m_input, boxes, content, kMaxChunk,
        [&sizes](const unsigned char* data, size_t count) { sizes.push(data, count); });
    return indexPatches(source, sizes.sizes());
}

} // namespace hastool
