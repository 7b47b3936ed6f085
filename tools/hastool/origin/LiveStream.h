// One stream that is published live.
#pragma once

#include "LiveLoop.h"
#include <hastool/media/FragmentChunks.h>
#include <hastool/media/InitTracks.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// The media of a live stream: that of an on-demand one, repeated for ever. Any thread may call
/// anything.
class LiveStream {
public:
    /// How a stream's media is treated.
    struct Media {
        InitTracks tracks;         ///< of MP4; empty for anything else
        bool isContinuous = false; ///< decode times go on from round to round (MP4 only)
        double offset =
            0; ///< with it, of the media's own time before the stream begins, in seconds
        double chunkSeconds = 0; ///< how long a chunk is; 0 for whole segments only
    };
    /// A chunk without its bytes.
    struct Part {
        double seconds = 0;
        bool independent = false;
    };

    LiveStream(LiveLoop loop, Media media)
        : m_loop(std::move(loop))
        , m_media(std::move(media))
        , m_parts(m_loop.size()) {}

    const LiveLoop& loop() const { return m_loop; }
    bool isChunked() const { return m_media.chunkSeconds > 0; }
    /// The chunks of a segment; one where it cannot be cut. Together they are the segment.
    /// @throws ToolError when it cannot be read
    std::vector<MediaChunk> chunks(uint64_t number) const;
    /// Their durations.
    std::vector<Part> parts(uint64_t number) const;

private:
    std::string read(const LoopSegment& segment) const;

    LiveLoop m_loop;
    Media m_media;
    mutable std::mutex m_mutex;                     // guards the field below
    mutable std::vector<std::vector<Part>> m_parts; ///< of the segments that were asked for
};

} // namespace hastool
