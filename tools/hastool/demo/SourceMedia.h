// The segments that a play has fetched, read from the disk.
#pragma once

#include <hastool/formats/Presentation.h>
#include <hastool/origin/ServedFolder.h>
#include <hastool/play/TraceRow.h>

#include <filesystem>
#include <string>
#include <vector>

namespace hastool {

/// Reads a presentation's files as they are on the disk, to compare a play's output with them.
class SourceMedia {
public:
    /// @param manifest  its name in the folder. @throws ToolError
    SourceMedia(const std::filesystem::path& folder, const std::string& manifest);

    /// The segments of a track that a play has taken, without initialisations.
    /// @param rows  of the play, in their order
    /// @throws ToolError when the files have fewer segments, or one cannot be read
    std::vector<std::string> segments(const std::vector<TraceRow>& rows, bool isAudio) const;

private:
    Document read(const Resource& resource) const;

    ServedFolder m_folder;
    std::string m_url;
};

} // namespace hastool
