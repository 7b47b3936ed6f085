// Takes a transport stream's measure.
#pragma once

#include "Continuity.h"
#include "PacketFinder.h"
#include "TsReport.h"
#include <hastool/base/ByteSource.h>

#include <Hasutil/CBbtsParser.h>

#include <map>
#include <memory>
#include <optional>

namespace hastool {

/// Reads a transport stream from begin to end. A PMT that comes before the PAT which names it
/// counts as well. Damaged packets are counted and not looked into; scrambled tables are left
/// alone.
class TsScanner {
public:
    TsScanner();
    ~TsScanner();
    TsScanner(const TsScanner&) = delete;
    TsScanner& operator=(const TsScanner&) = delete;

    void push(const unsigned char* data, size_t size) { m_finder.push(data, size); }
    /// Ends the stream. @return what was in it
    TsReport finish();

private:
    struct Pid {
        PidReport report;
        Continuity continuity;
        std::unique_ptr<PsiAssembler> tables; ///< of a PID that may have some
    };

    void take(const TsUnit& unit);
    void takePcr(const TsUnit& unit, PcrRange& range);
    void takeTables(const TsUnit& unit, int pid, Pid& state, bool follows);
    void takeSection(int pid, const Bytes& section);
    void takePat(const PatSection& pat);
    void takeBroadband(const TsUnit& unit);
    void joinPrograms();

    PacketFinder m_finder;
    CBbtsParser m_broadband;
    std::map<int, Pid> m_pids;
    std::optional<PatSection> m_pat;
    std::map<std::pair<int, int>, PmtSection> m_pmts; ///< by PID and program
    TsReport m_report;
};

/// Reads a whole stream.
TsReport scanTs(const ByteSource& source);

} // namespace hastool
