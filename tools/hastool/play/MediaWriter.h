// The media that a play leaves behind.
#pragma once

#include <hastool/base/OutputFile.h>
#include <hastool/media/Fmp4Joiner.h>

#include <optional>
#include <string>

namespace hastool {

/// Writes the pieces of one play into one file that can be played: transport streams one behind the
/// other, fragmented MP4 behind its initialisation, which is written again when it changes.
/// An index that leads out of its piece becomes "free": what follows here is not what followed
/// there.
///
/// It is written beside its name, FILE.part, and takes it with commit(): a play that comes to
/// nothing leaves a file of that name as it was.
class MediaWriter {
public:
    /// @param path  empty to write nothing. @throws ToolError when it cannot be written
    explicit MediaWriter(const std::string& path);

    /// Says what the following pieces cannot be decoded without; empty for nothing.
    void setInit(const std::string& init);
    /// Writes a piece, whole. @throws ToolError when it cannot be written
    void write(const std::string& media);
    /// Gives the file its name if anything was written. @throws ToolError when that fails
    void commit();

private:
    std::optional<OutputFile> m_file;
    Fmp4Joiner m_joiner;
    std::string m_init;
    bool m_initIsDue = false;
    bool m_hasMedia = false;
};

} // namespace hastool
