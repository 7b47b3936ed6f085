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
    /// The initialisation; nothing where the segments need none that can be fetched.
    /// @throws ToolError as media()
    std::optional<Resource> init() const;
    /// The bytes of an initialisation that stands in the manifest itself (a data URL, RFC 2397);
    /// nothing where none does. @throws ToolError for a data URL that is not base64
    std::optional<std::string> inlineInit() const;
    /// Where the index of the segments is; nothing where the segments have no index.
    std::optional<Resource> index() const;

private:
    const DashRepresentation& m_representation;
    std::string m_manifestUrl;
    std::string m_base;
};

} // namespace hastool
