// What there is to check of an HLS presentation.
#pragma once

#include "Lister.h"
#include <hastool/formats/hls/HlsPlaylist.h>

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// Each media playlist is a rendition, however many variants name it.
class HlsLister : public Lister {
public:
    /// All are borrowed.
    HlsLister(Evidence& evidence, CheckSource& source, const TimeSource& time)
        : m_evidence(evidence)
        , m_source(source)
        , m_time(time) {}

    void list() override;
    void follow() override;
    TimeSource::Steady::time_point due() const override;

private:
    /// What is remembered of a rendition beside the evidence, at the same place.
    struct Reading {
        TimeSource::Steady::time_point due = TimeSource::Steady::time_point::max();
        bool hasSegments = false;
        uint64_t next = 0; ///< media sequence number
        double end = 0;    ///< of the last segment, seconds since the begin of the first playlist
    };

    void listMaster();
    void addVariant(const HlsVariant& variant, bool isTrick);
    void addRenditions(const std::vector<HlsRendition>& renditions, CheckedRendition::Kind kind);
    void add(const std::string& uri, CheckedRendition rendition, const std::string& name);
    void load(size_t number);
    void take(size_t number, CheckedPlaylist loaded);
    void addNew(size_t number, const CheckedPlaylist& state);
    CheckedSegment segmentOf(CheckedRendition& rendition, const CheckedPlaylist& state,
                             const HlsSegment& segment) const;
    static size_t initOf(CheckedRendition& rendition, const CheckedPlaylist& state,
                         const HlsMap& map);
    void sumUp();

    Evidence& m_evidence;
    CheckSource& m_source;
    const TimeSource& m_time;
    std::vector<Reading> m_readings;
};

} // namespace hastool
