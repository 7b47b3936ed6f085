// Smooth Streaming manifests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One QualityLevel.
struct SmoothQuality {
    int bitrate = 0; ///< bits per second
    std::string fourCC;
    int width = 0;
    int height = 0;
    std::string codecPrivateData; ///< bytes
    unsigned samplingRate = 0;
    unsigned channels = 0;
    unsigned bitsPerSample = 0;
    std::string customAttributes; ///< "name=value,name=value", for URLs
};

/// One fragment, of all qualities.
struct SmoothChunk {
    uint64_t time = 0; ///< in units of the timescale
    uint64_t duration = 0;
};

/// One StreamIndex.
struct SmoothStream {
    std::string type; ///< "video", "audio" or "text"
    std::string name;
    std::string language;
    std::string url; ///< a template
    uint64_t timescale = 0;
    std::vector<SmoothQuality> qualities; ///< in ascending order of bitrate, at least one
    std::vector<SmoothChunk> chunks;
};

struct SmoothProtection {
    std::string systemId;
    std::string header; ///< base64, without blanks
};

struct SmoothManifest {
    bool isLive = false;
    uint64_t timescale = 0; ///< units in a second
    uint64_t duration = 0;  ///< 0 when not known
    uint64_t window = 0;    ///< how much of a live one is kept; 0 when not known, or all
    std::vector<SmoothProtection> protections;
    std::vector<SmoothStream> streams; ///< with qualities, at least one
};

/// The most chunks that a manifest may list.
constexpr size_t kMaxSmoothChunks = 500000;

/// Whether a document looks like a Smooth Streaming manifest, by its outermost element.
bool looksLikeSmooth(const std::string& text);

/// Parses a manifest. A chunk without a time begins where the one before it ends, and one without a
/// duration lasts to the next one, or to the end.
/// @param url  names it in messages
/// @throws ToolError for text that is no manifest, and for a value that cannot be used
SmoothManifest parseSmoothManifest(const std::string& text, const std::string& url);

/// Fills in a template: `{bitrate}`, `{start time}` or `{start_time}`, and `{CustomAttributes}`, in
/// upper or lower case.
/// @throws ToolError for another name
std::string expandSmoothTemplate(const std::string& text, const SmoothQuality& quality,
                                 uint64_t time, const std::string& where);

} // namespace hastool
