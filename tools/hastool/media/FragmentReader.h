// Reads a segment of fragmented MP4.
#pragma once

#include "FragmentRun.h"
#include "SegmentFacts.h"

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace hastool {

/// Collects what there is to know of a segment's fragments (ISO/IEC 14496-12, 8.8).
class FragmentReader {
public:
    /// Reads a whole segment into `boxes` and `streams`.
    static void read(std::string_view init, std::string_view media, SegmentFacts& facts);

private:
    FragmentReader(std::string_view init, std::string_view media, SegmentFacts& facts);

    void readBoxes();
    void readBox(const BoxView& box);
    void readFragment(const BoxView& moof);
    void readSequence(std::string_view mfhd);
    void readTrackBoxes(std::string_view traf);
    void readRun(const BoxView& traf, uint64_t& base);
    void takeRun(const FragmentRun& run, uint64_t& base);
    void takeSamples(const FragmentRun& run, TrackFacts& track);
    void readFirstSample(const FragmentRun& run, uint64_t at, bool isMarked);
    void placePieces(const FragmentRun& run, uint64_t& base);
    void readIndex(std::string_view sidx, uint64_t end);
    void checkPlaces();
    void breakOff(std::string why);
    StreamFacts& streamOf(uint32_t track);

    std::string_view m_media;
    SegmentFacts& m_segment;
    BoxFacts& m_facts;
    const InitFacts m_init;
    const InitTracks m_tracks;
    uint64_t m_moof = 0;    ///< where the current one begins
    uint64_t m_indexed = 0; ///< where what the index refers to ends
    uint64_t m_samples = 0; ///< that have been read
    using Range = std::pair<uint64_t, uint64_t>;
    std::vector<Range> m_data;   ///< content of mdat, in order
    std::vector<Range> m_pieces; ///< of samples
};

} // namespace hastool
