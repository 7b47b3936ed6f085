// What there is to check of a DASH presentation.
#pragma once

#include "Lister.h"
#include <hastool/formats/dash/DashLoader.h>
#include <hastool/formats/dash/DashReading.h>
#include <hastool/formats/dash/DashTimeline.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace hastool {

/// Each representation of each period is a rendition.
class DashLister : public Lister {
public:
    /// All are borrowed.
    DashLister(Evidence& evidence, CheckSource& source, const TimeSource& time)
        : m_evidence(evidence)
        , m_source(source)
        , m_time(time) {}

    void list() override;
    void follow() override;
    TimeSource::Steady::time_point due() const override;

private:
    /// What is remembered of a rendition beside the evidence.
    struct Reading {
        size_t rendition = 0; ///< its place
        std::optional<DashSegment> last;
    };

    Document fetch(const Resource& resource);
    void listAll();
    void listRepresentation(size_t period, size_t set, const DashRepresentation& representation);
    Reading& readingOf(size_t period, size_t set, const DashRepresentation& representation);
    void addNew(Reading& reading, const DashFound& found, const DashSegmentList& list);
    void add(CheckedRendition& rendition, const DashFound& found);
    size_t initOf(CheckedRendition& rendition, const Resource& resource) const;
    void sumUp();

    Evidence& m_evidence;
    CheckSource& m_source;
    const TimeSource& m_time;
    std::string m_reloaded; ///< the URL whose answer is a new state of the manifest
    std::optional<DashLoader> m_loader;
    std::optional<DashTimeline> m_timeline;
    std::map<std::string, Reading> m_readings; ///< by what tells them apart in any state
    TimeSource::Steady::time_point m_due = TimeSource::Steady::time_point::max();
};

} // namespace hastool
