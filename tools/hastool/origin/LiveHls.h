// HLS playlists of live streams.
#pragma once

#include "LivePresentation.h"
#include "ServedFolder.h"
#include <hastool/formats/hls/HlsPlaylist.h>

#include <map>
#include <string>
#include <vector>

namespace hastool {

/// Publishes an HLS presentation live (RFC 8216): each media playlist is a window that slides over
/// the media, with a discontinuity wherever the media begins anew. With low latency the end of the
/// window is listed part by part (RFC 8216bis, 4.4.4.9), unless a stream is encrypted.
class LiveHls : public LivePresentation {
public:
    /// @param path  of a master or media playlist in the folder. @throws ToolError for one that
    ///              cannot be published live
    LiveHls(const ServedFolder& folder, const std::string& path, const LiveOptions& options);

    bool hasManifest(const std::string& path) const override { return m_playlists.count(path) > 0; }
    LiveDue due(const std::string& path, const LiveQuery& query, double now) const override;
    std::string manifest(const std::string& path, double now, double epoch) const override;

private:
    /// A media playlist.
    struct Playlist {
        std::string prefix; ///< of its segments, a path
        std::string name;   ///< the last part of the prefix
        std::string extension;
        std::vector<std::string> tags; ///< for each segment: its key and map
        std::shared_ptr<const LiveStream> media;
        bool hasParts = false;
    };
    /// What a playlist lists at a time.
    struct Extent {
        uint64_t first = 0;
        uint64_t end = 0;                    ///< number behind the last whole segment
        std::vector<LiveStream::Part> begun; ///< parts of the segment `end` that are there
        bool hasNext = false;                ///< a further part of that segment will follow
    };

    HlsPlaylist read(const ServedFolder& folder, const std::string& path,
                     const HlsVariables* master) const;
    void add(const ServedFolder& folder, const std::string& path, const HlsPlaylist& source,
             double round);
    bool canHaveParts(const HlsPlaylist& source, const LiveStream& media) const;
    Extent extent(const Playlist& playlist, double now) const;
    void addSegment(std::string& text, const Playlist& playlist, uint64_t number, bool isFirst,
                    double epoch) const;
    void addParts(std::string& text, const Playlist& playlist, uint64_t number,
                  const std::vector<LiveStream::Part>& parts) const;
    std::string head(const Playlist& playlist, const Extent& extent) const;
    double partTarget() const;

    LiveOptions m_options;
    std::map<std::string, Playlist> m_playlists; ///< by path
};

} // namespace hastool
