// A segment that comes while it is made.
#pragma once

#include <hastool/base/ByteSink.h>
#include <hastool/media/InitTracks.h>

#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

namespace hastool {

/// Hands a segment's bytes on, and finds the chunks in it that are complete: each is a moof with
/// its mdat. Bytes are written on the download engine's thread; any thread may ask.
class ChunkSink : public ByteSink {
public:
    /// What has come whole.
    struct Arrived {
        size_t bytes = 0; ///< up to the end of the last whole chunk
        double seconds = 0;
    };

    /// @param target  gets the bytes, borrowed
    /// @param tracks  of the segment's initialisation
    /// @param onWait  is called before bytes are handed on that begin a chunk, on the engine's
    ///                thread: what passed before them was the time in which the chunk was made
    ChunkSink(MemorySink& target, InitTracks tracks, std::function<void()> onWait)
        : m_target(target)
        , m_tracks(std::move(tracks))
        , m_onWait(std::move(onWait)) {}

    bool write(const unsigned char* data, size_t size) override;
    std::string failure() const override { return m_target.failure(); }

    Arrived arrived() const;

private:
    void scan();

    MemorySink& m_target;
    const InitTracks m_tracks;
    const std::function<void()> m_onWait;
    size_t m_scanned = 0;  ///< bytes in whole boxes
    double m_fragment = 0; ///< seconds of the moof whose mdat is to come
    bool m_isInFragment = false;
    bool m_isEndless = false;   ///< a box goes on to the end, or is none
    mutable std::mutex m_mutex; // guards m_arrived
    Arrived m_arrived;
};

} // namespace hastool
