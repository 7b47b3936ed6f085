// One presentation that is published live.
#pragma once

#include "LiveStream.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace hastool {

/// How presentations are published.
struct LiveOptions {
    bool lowLatency = false;
    double window = 30;        ///< seconds of media that a manifest lists
    double chunkSeconds = 0.5; ///< of a low-latency stream
};

/// What a request for a manifest says about when it is to be answered.
struct LiveQuery {
    std::optional<uint64_t> sequence; ///< the manifest has to list this segment...
    std::optional<uint64_t> part;     ///< ...or this part of it
};

/// When a manifest can be answered.
struct LiveDue {
    bool isRefused = false; ///< it asks for what is too far ahead
    double time = 0;        ///< seconds since the presentation began; in the past: at once
};

/// The manifests and streams of a live presentation, whose media is that of an on-demand one,
/// repeated for ever. Times are seconds since it began. Any thread may call anything.
class LivePresentation {
public:
    virtual ~LivePresentation() = default;

    /// A stream's segments have the names PREFIX + number + EXTENSION, its chunks PREFIX + number +
    /// "." + chunk + EXTENSION, numbers of segments from 1, those of chunks from 0.
    struct Stream {
        std::shared_ptr<const LiveStream> media;
        std::string extension; ///< with the dot
        bool isPaced = false;  ///< a segment can be asked for while it is being made
        bool hasParts = false; ///< chunks can be asked for one by one
    };
    /// By prefix, a path from the root.
    const std::map<std::string, Stream>& streams() const { return m_streams; }
    /// The file that a path stands for, such as an initialisation; nothing where it is none.
    virtual std::optional<LoopSegment> file(const std::string& path) const;
    /// Whether a path is that of a manifest that changes.
    virtual bool hasManifest(const std::string& path) const = 0;
    virtual LiveDue due(const std::string& path, const LiveQuery& query, double now) const;
    /// @param epoch  when the presentation began, in seconds since 1970. @throws ToolError when its
    ///               media cannot be read
    virtual std::string manifest(const std::string& path, double now, double epoch) const = 0;

protected:
    std::map<std::string, Stream> m_streams;
    std::map<std::string, LoopSegment> m_files;
};

} // namespace hastool
