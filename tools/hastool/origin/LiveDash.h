// DASH manifests of live streams.
#pragma once

#include "LivePresentation.h"
#include "ServedFolder.h"
#include <hastool/formats/dash/DashManifest.h>

#include <string>
#include <vector>

namespace hastool {

/// Publishes a DASH presentation of one period live (ISO/IEC 23009-1, type "dynamic").
///
/// It stays one period with one timeline: wherever the media begins anew, its decode times are
/// moved on. Periods for the rounds would need no such thing, but many players go through periods
/// of a live stream badly or not at all, and with low latency none may lose time there. Segments of
/// nearly equal lengths are described by their duration, others by a timeline. With low latency a
/// segment is sent chunk by chunk while it is made.
class LiveDash : public LivePresentation {
public:
    /// @param path  of a manifest in the folder. @throws ToolError for one that cannot be published
    ///              live
    LiveDash(const ServedFolder& folder, const std::string& path, const LiveOptions& options);

    bool hasManifest(const std::string& path) const override { return path == m_path; }
    std::string manifest(const std::string& path, double now, double epoch) const override;

private:
    /// A representation in the manifest.
    struct Entry {
        size_t set = 0;
        DashRepresentation source;
        std::string name; ///< of its segments, without number and extension
        std::string extension;
        std::shared_ptr<const LiveStream> media;
        bool isRegular = false; ///< its segments are of nearly equal lengths
        bool isPaced = false;
    };

    void add(const ServedFolder& folder, const DashPeriod& period,
             const DashRepresentation& representation);
    void addInit(const ServedFolder& folder, const DashRepresentation& representation,
                 const std::string& prefix, InitTracks& tracks);
    std::string segmentsText(const Entry& entry, double now) const;
    std::string timelineText(const Entry& entry, double now) const;
    std::string representationText(const Entry& entry, double now) const;
    std::string headText(double now, double epoch) const;

    LiveOptions m_options;
    std::string m_path;
    double m_round = 0;
    double m_longest = 0;
    std::vector<DashAdaptationSet> m_sets;
    std::vector<Entry> m_entries;
};

/// Where the server's clock can be read, for players (UTCTiming).
constexpr char kLiveClockPath[] = "/live-clock";

} // namespace hastool
