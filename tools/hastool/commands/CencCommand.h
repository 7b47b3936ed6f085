// hastool cenc
#pragma once

#include <hastool/media/CencPass.h>
#include <hastool/media/IndexMender.h>

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace hastool {

/// Passes an MP4 file with Common Encryption through a DRM handler.
class CencCommand {
public:
    /// Adds the command and its options.
    explicit CencCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    std::vector<BytePatch> patchesFor(const BlockSource& source, const PsshBoxes& boxes,
                                      const CencContent& content) const;

    CLI::App* m_command;
    std::string m_input;
    std::string m_output;
    std::string m_schemeId;
    std::string m_pssh;
    bool m_isMuxed = false;
    bool m_isSeparate = false;
    size_t m_chunk = 16384;
};

} // namespace hastool
