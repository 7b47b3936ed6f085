// Reads a segment of a transport stream in one pass.
#pragma once

#include "Continuity.h"
#include "PsiTables.h"
#include "SegmentFacts.h"
#include "TransportStreamPid.h"
#include "TsUnit.h"

#include <map>
#include <memory>
#include <optional>
#include <string_view>

namespace hastool {

/// Collects what there is to know of a transport stream.
class TransportReader {
public:
    /// More PIDs come only from bytes that are no transport stream; of those nothing is noted.
    static constexpr size_t kMaxPids = 256;

    /// Reads a whole segment into `transport` and `streams`.
    static void read(std::string_view media, SegmentFacts& facts);

private:
    explicit TransportReader(SegmentFacts& facts)
        : m_facts(facts.transport)
        , m_streams(facts.streams) {}

    void readPackets(std::string_view media);
    void take(const TsUnit& unit);
    void count(const TsUnit& unit, PidFacts& facts, Continuity::Verdict verdict);
    PsiAssembler& tableOf(int pid);
    void takePat(const PatSection& pat);
    void takePmt(const PmtSection& pmt);
    void takeClock(const TsUnit& unit);
    TransportStreamPid* mediaOf(int pid, const TsUnit& unit);
    void finish();

    TransportFacts& m_facts;
    std::vector<StreamFacts>& m_streams;
    std::map<int, Continuity> m_continuity;
    std::map<int, std::unique_ptr<PsiAssembler>> m_tables; ///< PAT and PMTs
    std::map<int, std::unique_ptr<TransportStreamPid>> m_media;
    std::optional<PmtSection> m_pmt;
    LongClock m_clock;
    std::optional<double> m_lastClock;
};

} // namespace hastool
