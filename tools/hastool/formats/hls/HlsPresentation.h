// HLS: from a playlist to tracks.
#pragma once

#include "HlsTrack.h"
#include <hastool/formats/Presentation.h>
#include <hastool/formats/RenditionChoice.h>

#include <chrono>
#include <string>
#include <vector>

namespace hastool {

/// An HLS presentation, clear or encrypted by AES-128, of a master playlist or of a single media
/// playlist. Audio that comes in playlists of its own is a track, and so are subtitles that the
/// user wants; of several renditions the default one is played where the user does not choose.
class HlsPresentation : public Presentation {
public:
    /// @param liveTimeout  how long a live stream may stay without a new segment
    /// @param lowLatency   whether parts of segments are read where there are any
    HlsPresentation(const Document& document, const FetchDocument& fetch,
                    std::chrono::milliseconds liveTimeout, const TimeSource& time = {},
                    const RenditionChoice& choice = {}, bool lowLatency = true);

    const std::vector<TrackInfo>& tracks() const override { return m_tracks; }
    bool isLive() const override { return m_readers[0].isLive(); }
    std::optional<double> liveEdge() const override { return m_readers[0].liveEdge(); }
    bool isLowLatency() const override { return m_readers[0].isLowLatency(); }
    bool isInside(size_t track) const override { return m_readers.at(track).isInside(); }
    NextPiece next(size_t track, size_t stream) override {
        return m_readers.at(track).next(stream);
    }
    NextPiece again(size_t track, size_t stream) override {
        return m_readers.at(track).again(stream);
    }
    std::vector<uint64_t> nextSizes(size_t track) const override {
        return m_readers.at(track).nextSizes();
    }

private:
    std::vector<TrackInfo> m_tracks;
    std::vector<HlsTrack> m_readers; ///< of the tracks
};

} // namespace hastool
