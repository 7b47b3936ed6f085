// What an origin publishes live.
#pragma once

#include "LivePresentation.h"
#include "LiveTime.h"
#include "OriginAnswer.h"
#include "ServedFolder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Answers for the live presentations that it makes of a folder's recorded ones: HLS and DASH. They
/// have begun a window's length before the publisher was made. Any thread may call anything.
class LivePublisher {
public:
    /// @param folder, time  borrowed
    LivePublisher(const ServedFolder& folder, const LiveOptions& options, LiveTime& time);

    /// Paths of the manifests that are published live.
    const std::vector<std::string>& presentations() const { return m_paths; }
    /// Which presentations are not, and why; a line each.
    const std::vector<std::string>& problems() const { return m_problems; }

    /// The number of the segment that a path is, or is a chunk of, from 1; nothing for other paths.
    std::optional<uint64_t> segmentNumber(const std::string& path) const;
    /// The answer to a GET or HEAD request; may wait until there is what it asks for.
    /// @param path  decoded
    /// @return nothing when the path has nothing to do with a live presentation
    std::optional<OriginAnswer> answer(const WebRequest& request, const std::string& path,
                                       const std::optional<Fault>& fault) const;

private:
    /// A segment, or a chunk of one, that a path names.
    struct Place {
        const LivePresentation::Stream* stream = nullptr;
        uint64_t number = 0; ///< from 0
        std::optional<uint64_t> chunk;
    };

    void add(const ServedFolder& folder, const std::string& path, const LiveOptions& options);
    std::optional<Place> find(const std::string& path) const;
    double now() const { return m_time.now() - m_epoch; }
    OriginAnswer manifest(const LivePresentation& presentation, const std::string& path,
                          const WebRequest& request) const;
    OriginAnswer media(const Place& place, const std::optional<Fault>& fault) const;
    OriginAnswer file(const LoopSegment& file) const;

    LiveTime& m_time;
    const double m_window;
    double m_epoch;
    std::vector<std::unique_ptr<LivePresentation>> m_presentations;
    std::vector<std::string> m_paths;
    std::vector<std::string> m_problems;
};

} // namespace hastool
