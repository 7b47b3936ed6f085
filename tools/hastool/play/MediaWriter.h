// The media that a play leaves behind.
#pragma once

#include <hastool/base/OutputFile.h>
#include <hastool/media/Fmp4Joiner.h>

#include <optional>
#include <string>

namespace hastool {

/// Writes the pieces of one play into one file that can be played: transport streams one behind the
/// other, fragmented MP4 behind its initialisation, which is written again when it changes.
/// An index that leads out of its piece becomes "free": in this file something else follows.
///
/// The file is written as FILE.part until commit() renames it, so that a play without any media
/// leaves an older file of that name as it was.
class MediaWriter {
public:
    /// @param path  empty to write nothing. @throws ToolError when it cannot be written
    explicit MediaWriter(const std::string& path);

    /// Sets the initialisation of the pieces that follow; empty when they need none.
    void setInit(const std::string& init);
    /// Writes a piece, whole. @throws ToolError when it cannot be written
    void write(const std::string& media);
    /// Gives the file its name if anything was written. @throws ToolError when that fails
    void commit();
    /// Whether a file was or will be written.
    bool hasFile() const { return m_file && m_hasMedia; }

private:
    std::optional<OutputFile> m_file;
    Fmp4Joiner m_joiner;
    std::string m_init;
    bool m_initIsDue = false;
    bool m_hasMedia = false;
};

} // namespace hastool
