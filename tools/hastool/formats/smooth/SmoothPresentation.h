// Smooth Streaming: from a manifest to pieces.
#pragma once

#include "SmoothManifest.h"
#include <hastool/formats/LiveWait.h>
#include <hastool/formats/Presentation.h>
#include <hastool/formats/RenditionChoice.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// A Smooth Streaming presentation, on demand or live.
///
/// The first video stream and the first audio stream are played, or those that are wanted, and the
/// subtitles that are wanted. A live one is joined a few chunks
/// before its end; its manifest is loaded again after a chunk's duration. Protected media is passed
/// on as it is: there is no DRM handler for this format.
class SmoothPresentation : public Presentation {
public:
    /// @param liveTimeout  how long a live presentation may stay without a new chunk
    SmoothPresentation(const Document& document, FetchDocument fetch,
                       std::chrono::milliseconds liveTimeout, const TimeSource& time = {},
                       const RenditionChoice& choice = {});

    const std::vector<TrackInfo>& tracks() const override { return m_tracks; }
    bool isLive() const override { return m_manifest->isLive; }
    NextPiece next(size_t track, size_t stream) override;
    NextPiece again(size_t track, size_t stream) override;

private:
    using Clock = std::chrono::steady_clock;

    /// How far a track is.
    struct Reading {
        LiveWait wait; ///< one per track, so that a track that stands still is noticed
        std::string type;
        std::string wanted; ///< language or name; empty for the first of the type
        double time = 0;    ///< seconds before the next piece
        double last = 0;    ///< when the last one begins
        bool joined = false;
    };

    void take(const Document& document);
    void addTrack(const char* type, const char* option, const std::string& wanted);
    std::vector<const SmoothStream*> streamsOf(const std::string& type) const;
    const SmoothStream* findStream(const std::string& type, const std::string& wanted) const;
    const SmoothStream* streamOf(const Reading& reading) const;
    void reloadWhenDue(const SmoothStream& stream);
    Clock::time_point reloadDue(const SmoothStream& stream) const;
    void join(Reading& reading);
    MediaPiece pieceOf(const SmoothStream& stream, const SmoothQuality& quality,
                       const SmoothChunk& chunk) const;

    FetchDocument m_fetch;
    TimeSource m_clock;
    std::chrono::milliseconds m_liveTimeout;
    std::string m_url; ///< where the manifest came from
    std::shared_ptr<const SmoothManifest> m_manifest;
    Clock::time_point m_loadedAt;
    std::vector<TrackInfo> m_tracks;
    std::vector<Reading> m_readings;
    std::optional<double> m_joinTime; ///< where all tracks begin; nothing until it is known
};

} // namespace hastool
