// What there is to check of a Smooth Streaming presentation.
#pragma once

#include "Lister.h"
#include <hastool/formats/smooth/SmoothManifest.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace hastool {

/// Each quality level of each stream is a rendition.
class SmoothLister : public Lister {
public:
    /// All are borrowed.
    SmoothLister(Evidence& evidence, CheckSource& source, const TimeSource& time)
        : m_evidence(evidence)
        , m_source(source)
        , m_time(time) {}

    void list() override;
    void follow() override;
    TimeSource::Steady::time_point due() const override { return m_due; }

private:
    /// What is remembered of a rendition beside the evidence.
    struct Reading {
        size_t rendition = 0; ///< its place
        bool hasSegments = false;
        uint64_t lastTime = 0;
    };

    void read(CheckedDocument& document);
    void listAll();
    void listQuality(size_t stream, size_t quality);
    Reading& readingOf(size_t stream, size_t quality);
    void add(CheckedRendition& rendition, size_t stream, size_t quality, size_t chunk);

    Evidence& m_evidence;
    CheckSource& m_source;
    const TimeSource& m_time;
    std::shared_ptr<const SmoothManifest> m_manifest; ///< the latest; null while none was read
    std::string m_url;
    std::map<std::string, Reading> m_readings; ///< by what tells them apart in any state
    TimeSource::Steady::time_point m_due = TimeSource::Steady::time_point::max();
};

} // namespace hastool
