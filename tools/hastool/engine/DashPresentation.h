// DASH: from a manifest to pieces.
#pragma once

#include "DashManifest.h"
#include "DashSegments.h"
#include "LiveWait.h"
#include "Presentation.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// A DASH presentation (ISO/IEC 23009-1), static or dynamic, clear or with Common Encryption.
///
/// One video adaptation set and one audio set beside it are played, or the only one there is. A
/// static presentation is read from its begin. A dynamic one is joined a few segments before its
/// end and read by time; its manifest is loaded again as it asks for. What the streams of the first
/// period stand for in a later one is found by bitrate.
class DashPresentation : public Presentation {
public:
    /// @param liveTimeout  how long a live presentation may stay without a new segment
    DashPresentation(const Document& document, FetchDocument fetch,
                     std::chrono::milliseconds liveTimeout, const TimeSource& time = {});

    const std::vector<TrackInfo>& tracks() const override { return m_tracks; }
    bool isLive() const override { return m_manifest.isDynamic; }
    NextPiece next(size_t track, size_t stream) override;

private:
    using Clock = std::chrono::steady_clock;
    using Representations = std::vector<const DashRepresentation*>;

    /// How far a track is.
    struct Reading {
        double time = 0; ///< seconds of the presentation before the next piece
        size_t period = 0;
        std::optional<double> periodStart; ///< of the last piece's period
        bool joined = false;
    };
    /// A segment that was found.
    struct Found {
        const DashRepresentation* representation = nullptr;
        DashSegment segment;
    };

    void take(const Document& document);
    void openTracks();
    void reloadWhenDue();
    Clock::time_point reloadDue() const;
    void setClock();
    double serverTime() const;
    double liveTime() const;
    DashWindow window() const;
    void join(Reading& reading);
    double liveEdge(bool isAudio, double& segmentSeconds);
    std::optional<Found> find(size_t track, size_t stream);
    std::optional<DashSegment> findIn(const DashPeriod& period,
                                      const DashRepresentation& representation, double time);
    bool isOver(const DashPeriod& period) const;
    const DashRepresentation* choose(const DashPeriod& period, size_t track, size_t stream) const;
    const std::vector<DashSegment>& segments(const DashPeriod& period,
                                             const DashRepresentation& representation);
    const SegmentIndex* index(const DashRepresentation& representation);
    MediaPiece pieceOf(size_t track, const Found& found);
    std::optional<Resource> initOf(const DashRepresentation& representation) const;
    std::shared_ptr<const Protection> protectionOf(const DashPeriod& period, size_t track,
                                                   const DashRepresentation& representation) const;
    std::string baseOf(const DashRepresentation& representation) const;
    std::string resolve(const std::string& base, const std::string& uri) const;

    FetchDocument m_fetch;
    TimeSource m_clock;
    std::string m_url; ///< where the manifest came from
    DashManifest m_manifest;
    Clock::time_point m_loadedAt;
    double m_clockOffset = 0; ///< seconds that the server is ahead
    std::vector<TrackInfo> m_tracks;
    std::vector<Reading> m_readings;
    std::optional<double> m_joinTime; ///< that all tracks begin at
    LiveWait m_wait;
    std::map<std::string, SegmentIndex> m_indexes; ///< by URL and range
    /// Of the manifest at hand; those of a live one only for as long as one piece is looked for.
    std::map<const DashRepresentation*, std::vector<DashSegment>> m_segments;
};

} // namespace hastool
