// DASH: from a manifest to pieces.
#pragma once

#include "DashManifest.h"
#include "DashSegments.h"
#include <hastool/formats/LiveWait.h>
#include <hastool/formats/Presentation.h>

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
        explicit Reading(LiveWait itsWait)
            : wait(std::move(itsWait)) {}

        LiveWait wait;        ///< its own: what stands still is not hidden by what goes on
        double time = 0;      ///< seconds of the presentation before the next piece
        size_t period = 0;    ///< that it reads, or is about to
        std::string periodId; ///< what that period is known by in the next state of the manifest
        double periodStart = 0;
        bool hasBegun = false; ///< a piece of that period was handed out:
        std::string representation;
        DashSegment last;
        bool joined = false;
        bool isFirst = true; ///< nothing was handed out since it was joined
    };
    /// Where a live presentation stands.
    struct Edge {
        double time = 0;    ///< seconds of the presentation
        double segment = 0; ///< length of the last segment, in seconds
    };
    /// A segment that was found.
    struct Found {
        size_t period = 0;
        const DashRepresentation* representation = nullptr;
        DashSegment segment;
    };

    void take(const Document& document);
    std::string fetchRemote(const std::string& url);
    void openTracks();
    void reloadWhenDue();
    Clock::time_point reloadDue() const;
    std::optional<double> clockOffset(const DashManifest& manifest, const std::string& url) const;
    double serverTime() const;
    double liveTime() const;
    DashWindow window() const;
    void join(Reading& reading);
    std::optional<Edge> liveEdge();
    void findPlace(Reading& reading) const;
    std::optional<Found> find(size_t track, size_t stream);
    std::optional<DashSegment> findIn(const DashPeriod& period, const Reading& reading,
                                      const DashRepresentation& representation, bool isSamePeriod);
    bool isOver(const DashPeriod& period, double time) const;
    const DashRepresentation* choose(const DashPeriod& period, size_t track, size_t stream) const;
    const DashSegmentList& segments(const DashPeriod& period,
                                    const DashRepresentation& representation);
    const SegmentIndex* index(const DashRepresentation& representation);
    NextPiece advance(size_t track, const Found& found);
    MediaPiece pieceOf(size_t track, const Found& found) const;
    std::shared_ptr<const Protection> protectionOf(const DashPeriod& period, size_t track,
                                                   const DashRepresentation& representation) const;

    FetchDocument m_fetch;
    TimeSource m_clock;
    std::chrono::milliseconds m_liveTimeout;
    std::string m_url; ///< where the manifest came from
    DashManifest m_manifest;
    Clock::time_point m_loadedAt;
    double m_clockOffset = 0; ///< seconds that the server is ahead
    std::vector<TrackInfo> m_tracks;
    std::vector<Reading> m_readings;
    std::optional<double> m_joinTime;              ///< that all tracks begin at
    std::map<std::string, SegmentIndex> m_indexes; ///< by URL and range
    std::map<std::string, std::string> m_remotes;  ///< what stands elsewhere, by URL
    std::map<const DashRepresentation*, DashSegmentList> m_segments; ///< of the manifest at hand
};

} // namespace hastool
