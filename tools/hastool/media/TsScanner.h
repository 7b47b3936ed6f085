// Reports what is in a transport stream.
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

/// Reads a transport stream from begin to end. A PMT counts even if it comes before the PAT that
/// names it. Damaged packets are only counted; scrambled tables are not read.
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
        std::unique_ptr<PsiAssembler> tables; ///< null for a PID that cannot carry tables
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
