// Reads SegmentTemplate, SegmentList and SegmentBase of DASH manifests.
#pragma once

#include "DashManifest.h"
#include <hastool/base/XmlDocument.h>

#include <Hasutil/XmlElement.h>

#include <cstddef>
#include <optional>
#include <string>

namespace hastool {

/// Seconds, or infinity for "INF", of an availabilityTimeOffset; nothing where there is none, and
/// for other text: its segments can be had all the same, only later.
std::optional<double> availabilityOffset(const XmlAttributes& attributes);

/// Reads what a manifest's elements say about segments, level by level.
class DashAddressingReader {
public:
    /// @param url  names the manifest in messages, borrowed
    explicit DashAddressingReader(const std::string& url)
        : m_url(url) {}

    /// Puts what an element says in the place of what the levels above it said; an element of
    /// another name changes nothing.
    /// @throws ToolError for a value that cannot be used, and when all elements together list more
    ///         than kMaxDashRuns segments and runs
    void read(const hascommon::XmlElement& element, DashAddressing& addressing);

private:
    void readTemplate(const hascommon::XmlElement& element, DashAddressing& addressing);
    void readList(const hascommon::XmlElement& element, DashAddressing& addressing);
    void readBase(const hascommon::XmlElement& element, DashAddressing& addressing);
    void readCommon(const hascommon::XmlElement& element, DashAddressing& addressing);
    void readTimeline(const hascommon::XmlElement& element, DashAddressing& addressing);
    void count();
    std::optional<ByteRange> range(const hascommon::XmlElement& element, const char* name) const;

    const std::string& m_url;
    size_t m_runs = 0;
};

} // namespace hastool
