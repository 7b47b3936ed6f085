// Where the segments of a DASH representation are.
#pragma once

#include "DashManifest.h"
#include "DashSegments.h"
#include <hastool/net/ByteRange.h>

#include <optional>
#include <string>

namespace hastool {

/// Makes the URLs of one representation out of what its manifest says.
class DashUrls {
public:
    /// @param representation  borrowed
    /// @param manifestUrl     where the manifest came from; also names it in messages
    /// @throws ToolError for a BaseURL that is not HTTP
    DashUrls(const DashRepresentation& representation, const std::string& manifestUrl);

    /// @throws ToolError for a template that cannot be filled in, or a URL that is not HTTP
    Resource media(const DashSegment& segment) const;
    /// What has to be known before the segments; nothing where they stand alone.
    /// @throws ToolError as media()
    std::optional<Resource> init() const;
    /// What has to be known before the segments, where the manifest itself has it (a data URL, RFC
    /// 2397). @throws ToolError for one that is not base64
    std::optional<std::string> inlineInit() const;
    /// Where the index of the segments is; nothing where the segments have no index.
    std::optional<Resource> index() const;

private:
    const DashRepresentation& m_representation;
    std::string m_manifestUrl;
    std::string m_base;
};

} // namespace hastool
