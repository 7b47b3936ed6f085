// DASH: from a manifest to pieces.
#pragma once

#include "DashLoader.h"
#include "DashReading.h"
#include "DashTimeline.h"
#include <hastool/formats/Presentation.h>
#include <hastool/formats/RenditionChoice.h>

#include <chrono>
#include <optional>
#include <vector>

namespace hastool {

/// A DASH presentation (ISO/IEC 23009-1), static or dynamic, clear or with Common Encryption.
///
/// One video adaptation set and one audio set beside it are played, or the only one there is, and
/// the subtitles that are wanted. A
/// static presentation is read from its begin. A dynamic one is joined a few segments before its
/// end and read by time; its manifest is loaded again as it asks for. The streams are those of the
/// first period; in a later period each stands for the representation that matches its bitrate.
class DashPresentation : public Presentation {
public:
    /// @param liveTimeout  how long a live presentation may stay without a new segment
    /// @param lowLatency   whether segments are asked for while they are made, where they may be
    DashPresentation(const Document& document, FetchDocument fetch,
                     std::chrono::milliseconds liveTimeout, const TimeSource& time = {},
                     const RenditionChoice& choice = {}, bool lowLatency = true);

    const std::vector<TrackInfo>& tracks() const override { return m_tracks; }
    bool isLive() const override { return manifest().isDynamic; }
    NextPiece next(size_t track, size_t stream) override;
    NextPiece again(size_t track, size_t stream) override;
    std::vector<uint64_t> nextSizes(size_t track) const override;
    std::optional<double> liveEdge() const override;
    bool isLowLatency() const override { return m_isLowLatency; }

private:
    /// Where a track was before its last piece.
    struct Before {
        DashReading reading;
        uint64_t lost = 0; ///< pieces before that one, which have been told of
    };

    const DashManifest& manifest() const { return m_loader.manifest(); }
    void tellProblems();
    void announceEvents();
    void openTracks();
    void readLatency(const DashPeriod& period);
    void addTrack(const DashPeriod& period, TrackKind kind);
    void reloadWhenDue();
    void join(DashReading& reading);
    std::optional<double> joinTime();
    void rejoinWhenStartedAnew(DashReading& reading);
    std::optional<DashFound> find(size_t track, size_t stream);
    const DashRepresentation* choose(const DashPeriod& period, size_t track, size_t stream) const;
    NextPiece advance(size_t track, const DashFound& found);
    NextPiece wait(DashReading& reading) const;

    const RenditionChoice m_choice;
    const std::chrono::milliseconds m_liveTimeout;
    DashLoader m_loader;
    DashTimeline m_timeline;
    const bool m_mayBeEarly;
    double m_offset = 0; ///< seconds before their end that segments are asked for; may be infinite
    bool m_isLowLatency = false; ///< segments are asked for while they are made
    std::vector<TrackInfo> m_tracks;
    std::vector<TrackKind> m_kinds; ///< of the tracks
    std::vector<DashReading> m_readings;
    std::vector<Before> m_before;     ///< of the tracks
    std::optional<double> m_joinTime; ///< where all tracks begin; nothing until it is known
};

} // namespace hastool
