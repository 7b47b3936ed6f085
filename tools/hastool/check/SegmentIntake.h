// Fetches segments and looks into them.
#pragma once

#include "CheckSource.h"
#include "Evidence.h"
#include "Gatherer.h"
#include <hastool/net/AesKey.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// Fetches, decrypts and reads the segments that a presentation lists. Of each segment only the
/// facts are kept.
class SegmentIntake {
public:
    /// @param evidence  borrowed, as the others
    SegmentIntake(Evidence& evidence, CheckSource& source, const CheckOptions& options)
        : m_evidence(evidence)
        , m_source(source)
        , m_options(options) {}

    /// Takes all segments in that were not looked at by an earlier call.
    void takeNew();

private:
    /// Which segment of which rendition.
    struct Place {
        size_t rendition = 0;
        size_t segment = 0;
    };

    std::vector<Place> choose();
    void expect(const std::vector<Place>& places);
    void take(CheckedRendition& rendition, CheckedSegment& segment);
    void takeInit(CheckedInit& init);
    /// @return why there is no plain text; empty when there is
    std::string decrypt(const Encryption& encryption, std::string& bytes);
    const AesBytes* keyOf(const std::string& url);

    Evidence& m_evidence;
    CheckSource& m_source;
    const CheckOptions& m_options;
    std::vector<size_t> m_known; ///< segments of each rendition that were looked at
    std::map<std::string, std::optional<AesBytes>> m_keys;
};

/// Which of `count` segments are a sample of `wanted`: neighbours in twos, spread over all of them.
std::vector<size_t> sampleOf(size_t count, size_t wanted);

} // namespace hastool
