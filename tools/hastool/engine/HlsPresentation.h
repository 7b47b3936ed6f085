// HLS: from playlists to pieces.
#pragma once

#include "HlsPlaylist.h"
#include "Presentation.h"
#include "ToolError.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// An HLS presentation, clear or encrypted by AES-128, of a master playlist or of a single media
/// playlist.
///
/// A stream whose playlist has an end is read from its begin; another stream goes on at the same
/// time in the media. A live stream is joined three segments before its end and read by media
/// sequence numbers; its playlist is loaded again after a target duration, or half of one when
/// there was nothing new.
class HlsPresentation : public Presentation {
public:
    /// @param liveTimeout  how long a live stream may stay without a new segment
    HlsPresentation(const Document& document, FetchDocument fetch,
                    std::chrono::milliseconds liveTimeout);

    const std::vector<TrackInfo>& tracks() const override { return m_tracks; }
    bool isLive() const override;
    NextPiece next(size_t track, size_t stream) override;

private:
    using Clock = std::chrono::steady_clock;

    /// The media playlist of one stream.
    struct Rendition {
        std::string url;
        std::string base; ///< behind all redirects
        bool loaded = false;
        HlsPlaylist playlist;
        Clock::time_point loadedAt;
        bool changed = true; ///< by the last load
    };

    void takeMaster(const HlsPlaylist& playlist, const std::string& base);
    void load(Rendition& rendition);
    void take(Rendition& rendition, HlsPlaylist playlist, const std::string& base);
    bool reload(Rendition& rendition);
    void enter(size_t stream);
    /// The segment that comes next; null when there is none (yet).
    const HlsSegment* find(const Rendition& rendition, uint64_t& lost) const;
    NextPiece nothingNew(const Rendition& rendition);
    NextPiece pieceOf(const Rendition& rendition, const HlsSegment& segment);
    MediaPart mediaOf(const Rendition& rendition, const HlsSegment& segment) const;
    MediaPart initOf(const Rendition& rendition, const HlsSegment& segment) const;
    /// @throws ToolError for an encryption of another kind
    std::string keyUrlOf(const Rendition& rendition, const HlsKey& key,
                         const HlsSegment& segment) const;
    std::string resolve(const Rendition& rendition, const std::string& uri) const;
    static std::chrono::milliseconds reloadInterval(const Rendition& rendition);

    FetchDocument m_fetch;
    std::vector<TrackInfo> m_tracks;
    std::vector<Rendition> m_renditions;
    size_t m_current = 0;
    bool m_joined = false;
    bool m_fromBegin = false; ///< the presentation was complete when it was joined
    double m_time = 0;        ///< media seconds before the next piece
    uint64_t m_sequence = 0;  ///< number of the next piece
    std::chrono::milliseconds m_liveTimeout;
    bool m_waiting = false; ///< for a segment of a live stream
    Clock::time_point m_waitingSince;
    std::optional<ToolError> m_reloadFailure; ///< why the last load of a live playlist failed
};

} // namespace hastool
