// A check's resources from a folder.
#pragma once

#include "CheckSource.h"

#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Reads what lies in a folder, as if a server had it. What is named on real servers comes from
/// another source.
class FolderSource : public CheckSource {
public:
    /// The URL that stands for the folder: of a host that can never be (RFC 2606).
    static constexpr char kUrl[] = "http://folder.invalid/";

    /// @param folder  what is outside of it cannot be had
    /// @param remote  borrowed
    FolderSource(std::string folder, CheckSource& remote);

    void expect(const std::vector<Resource>& resources) override;
    Fetched fetch(const Resource& resource) override;
    std::string troubleNow() const override { return m_remote.troubleNow(); }

    /// The file that a URL stands for; nothing where a real server has it. @throws ToolError for
    /// one outside of the folder
    std::optional<std::string> fileOf(const std::string& url) const;

private:
    void read(const Resource& resource, Fetched& result) const;

    const std::string m_folder;
    CheckSource& m_remote;
};

/// Where a presentation lies.
struct LocalPresentation {
    std::string folder;
    std::string url; ///< of its manifest, below FolderSource::kUrl
};

/// Finds the presentation that a path means: a manifest, or a folder with one.
/// @throws ToolError for a folder without a manifest, or with several that may be meant
LocalPresentation findPresentation(const std::string& path);

} // namespace hastool
