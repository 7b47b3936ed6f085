// Parts of HLS segments, for low latency (RFC
// 8216bis, 4.4.3.7, 4.4.3.8, 4.4.4.9, 4.4.5.3, 4.4.5.4).
#pragma once

#include "HlsAttributes.h"
#include <hastool/net/ByteRange.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One EXT-X-PART.
struct HlsPart {
    std::string uri; ///< as written
    std::optional<ByteRange> range;
    double seconds = 0;
    bool independent = false; ///< it can be decoded without the parts before it
    bool gap = false;         ///< it cannot be had
};

/// One EXT-X-RENDITION-REPORT.
struct HlsReport {
    std::string uri; ///< as written
    uint64_t lastSequence = 0;
    std::optional<uint64_t> lastPart;
};

/// What a media playlist says about low latency.
struct HlsLowLatency {
    double partTarget = 0;              ///< seconds; 0 where the playlist has no parts
    std::optional<double> holdBack;     ///< seconds before the end
    std::optional<double> partHoldBack; ///< likewise, where parts are played
    bool canBlock = false;              ///< the server holds reloads until there is something new
    std::optional<HlsPart> hint;        ///< the part that will come next
    std::vector<HlsReport> reports;
};

/// The most that one playlist may list.
constexpr size_t kMaxParts = 100000;
constexpr size_t kMaxReports = 1000;

/// Reads the tags of parts. What cannot be used is left out: its playlist can still be played by
/// whole segments.
class HlsPartReader {
public:
    void onPartInf(const HlsAttributes& list);
    void onServerControl(const HlsAttributes& list);
    void onPart(const HlsAttributes& list);
    void onHint(const HlsAttributes& list);
    void onReport(const HlsAttributes& list);

    /// The parts since the last call, which are those of a segment.
    /// @param seconds  of the segment; nothing for one that is not whole yet
    /// @return none where they contradict it, or each other
    std::vector<HlsPart> takeParts(std::optional<double> seconds);
    /// Whether parts have contradicted their segment.
    bool hasContradiction() const { return m_hasContradiction; }
    const HlsLowLatency& result() const { return m_result; }

private:
    std::optional<HlsPart> read(const HlsAttributes& list) const;

    HlsLowLatency m_result;
    std::vector<HlsPart> m_parts;
    size_t m_count = 0;
    bool m_isBroken = false; ///< a part of this segment cannot be used
    bool m_hasContradiction = false;
};

} // namespace hastool
