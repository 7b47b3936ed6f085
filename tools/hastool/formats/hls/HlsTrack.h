// HLS: from the playlists of one track to its pieces.
#pragma once

#include "HlsPlaylist.h"
#include <hastool/formats/LiveWait.h>
#include <hastool/formats/Presentation.h>
#include <hastool/formats/TimedEvent.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// One track of an HLS presentation: its media playlists, of which one is read at a time.
///
/// A playlist with an end is read from its begin; when the stream changes, the new one goes on at
/// the same time in the media. A live stream is joined three segments before its end and read by
/// media sequence numbers; its playlist is loaded again after a target duration, or half of one
/// when there was nothing new.
///
/// At low latency a live stream is joined nearer to its end and read part by part where its
/// segments are not whole; reloads are then held by the server until there is something new. Parts
/// that contradict their segments, and a server that refuses such reloads, end this: whole segments
/// are read from then on. No part is handed out twice, whatever a reload lists.
class HlsTrack {
public:
    /// Takes a warning about what was left out of a playlist.
    using Warn = std::function<void(const std::string& what)>;
    using Announce = std::function<void(TimedEvent event)>;

    /// @param liveTimeout  how long a live stream may stay without a new segment
    HlsTrack(FetchDocument fetch, Warn warn, std::chrono::milliseconds liveTimeout,
             const TimeSource& time, bool lowLatency = true)
        : m_lowLatency(lowLatency)
        , m_fetch(std::move(fetch))
        , m_warn(std::move(warn))
        , m_clock(time)
        , m_wait(liveTimeout, time) {}

    /// Takes the events of its playlists, which come again whenever a playlist is loaded.
    void onEvent(Announce announce) { m_announce = std::move(announce); }
    /// The variables that its playlists may import.
    void setVariables(const HlsVariables& variables) { m_variables = variables; }
    /// Adds a stream by the URL of its playlist, which is loaded when it is first read.
    void add(const std::string& url);
    /// Adds a stream whose playlist has been parsed already.
    void add(const std::string& url, HlsPlaylist playlist);

    bool isLive() const;
    /// The next piece of a stream. @throws ToolError when the track cannot go on
    NextPiece next(size_t stream);
    /// See Presentation.
    NextPiece again(size_t stream);
    std::vector<uint64_t> nextSizes() const;
    /// See Presentation.
    std::optional<double> liveEdge() const;
    bool isLowLatency() const;
    bool isInside() const { return m_part > 0; }

private:
    using Clock = std::chrono::steady_clock;

    /// The media playlist of one stream.
    struct Rendition {
        std::string url;
        std::string base; ///< the playlist's URL after all redirects
        bool loaded = false;
        HlsPlaylist playlist;
        Clock::time_point loadedAt;
        Clock::time_point changedAt; ///< when something new was loaded last
        bool changed = true;         ///< by the last load
        bool isDistrusted = false;   ///< its parts, or its held reloads, do not do
        bool announced = false;      ///< the events of the last load
    };

    void load(Rendition& rendition, const Resource& resource);
    void take(Rendition& rendition, HlsPlaylist playlist, const std::string& base);
    bool reload(Rendition& rendition);
    bool usesParts(const Rendition& rendition) const;
    Resource reloadOf(const Rendition& rendition) const;
    void enter(size_t stream);
    void join(const Rendition& rendition);
    /// What comes next.
    struct Found {
        const HlsSegment* segment = nullptr; ///< null when there is nothing (yet)
        const HlsPart* part = nullptr;       ///< null for the whole segment
    };
    Found find(const Rendition& rendition, uint64_t& lost);
    Found findPart(const Rendition& rendition, const HlsSegment& segment);
    const HlsSegment* peek(size_t stream) const;
    void leaveSegment();
    void advance(const Found& found);
    NextPiece nothingNew(const Rendition& rendition);
    NextPiece pieceOf(const Rendition& rendition, const Found& found);
    void announceRanges(Rendition& rendition, const HlsSegment& segment);
    MediaPart mediaOf(const Rendition& rendition, const Found& found) const;
    MediaPart initOf(const Rendition& rendition, const HlsSegment& segment) const;
    /// @throws ToolError for an encryption of another kind
    std::string keyUrlOf(const Rendition& rendition, const HlsKey& key,
                         const HlsSegment& segment) const;
    static std::string resolve(const Rendition& rendition, const std::string& uri);
    std::chrono::milliseconds reloadInterval(const Rendition& rendition) const;

    const bool m_lowLatency;
    FetchDocument m_fetch;
    Warn m_warn;
    Announce m_announce;
    std::optional<HlsVariables> m_variables;
    TimeSource m_clock;
    std::vector<Rendition> m_renditions;
    size_t m_current = 0;
    bool m_joined = false;
    bool m_fromBegin = false; ///< the presentation was complete when it was joined
    double m_time = 0;        ///< media seconds before the next piece
    uint64_t m_sequence = 0;  ///< number of the next piece's segment
    double m_lastTime = 0;    ///< both of the last segment that was handed out whole
    uint64_t m_lastSequence = 0;
    size_t m_part = 0; ///< how many parts of that segment were handed out
    LiveWait m_wait;
};

} // namespace hastool
