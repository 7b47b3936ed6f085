#include "DashUrls.h"

#include <hastool/base/Base64.h>

#include "DashTemplate.h"
#include <hastool/base/PsshText.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/net/HttpUrl.h>

#include <string_view>

namespace hastool {
namespace {

constexpr std::string_view kDataScheme = "data:";
constexpr std::string_view kBase64 = ";base64";

} // namespace

DashUrls::DashUrls(const DashRepresentation& representation, const std::string& manifestUrl)
    : m_representation(representation)
    , m_manifestUrl(manifestUrl)
    , m_base(manifestUrl) {
    for (const std::string& url : representation.baseUrls)
        m_base = resolveHttpUrl(m_base, url, m_manifestUrl);
}

Resource DashUrls::media(const DashSegment& segment) const {
    std::string url = segment.media;
    if (m_representation.addressing.kind == DashAddressing::Kind::Template)
        url = expandDashTemplate(url,
                                 {m_representation.id, segment.number,
                                  static_cast<uint64_t>(m_representation.bandwidth), segment.time},
                                 m_manifestUrl);
    return {resolveHttpUrl(m_base, url, m_manifestUrl), segment.range};
}

std::optional<Resource> DashUrls::init() const {
    const DashAddressing& addressing = m_representation.addressing;
    if (addressing.hasInitialization) {
        std::string url = addressing.initialization;
        if (addressing.isInitTemplate)
            url = expandDashTemplate(
                url, {m_representation.id, 0, static_cast<uint64_t>(m_representation.bandwidth), 0},
                m_manifestUrl);
        return Resource{resolveHttpUrl(m_base, url, m_manifestUrl), addressing.initRange};
    }
    // Where the manifest names no initialisation, it is what stands before the index.
    const auto before = index();
    if (before && before->range->first > 0)
        return Resource{m_base, ByteRange{0, before->range->first}};
    return std::nullopt;
}

std::optional<std::string> DashUrls::inlineInit() const {
    const std::string& url = m_representation.addressing.initialization;
    if (lowered(url.substr(0, kDataScheme.size())) != kDataScheme)
        return std::nullopt;
    const size_t comma = url.find(',');
    const bool isBase64 =
        comma != std::string::npos && url.rfind(kBase64, comma) != std::string::npos;
    auto bytes = isBase64 ? fromBase64(url.substr(comma + 1)) : std::nullopt;
    if (!bytes)
        throw ToolError(m_manifestUrl, "a data URL that is not base64: " + inQuotes(url));
    return bytes;
}

std::optional<Resource> DashUrls::index() const {
    const DashAddressing& addressing = m_representation.addressing;
    if (addressing.kind != DashAddressing::Kind::Base || !addressing.indexRange)
        return std::nullopt;
    return Resource{m_base, addressing.indexRange};
}

} // namespace hastool
