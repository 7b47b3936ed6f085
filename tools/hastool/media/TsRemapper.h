// Gives the streams of a transport stream other PIDs.
#pragma once

#include "Continuity.h"
#include "PidMap.h"
#include "TsUnit.h"

#include <Hasutil/TsProcessData.h>

#include <cstdint>
#include <map>
#include <set>

namespace hastool {

struct TsReport;

/// Rewrites packets one at a time: their PIDs, their continuity counters, which then count without
/// a gap, and the PIDs that the tables name, with the tables' checksums.
class TsRemapper {
public:
    /// @param report  of the whole stream. @throws ToolError when it has no room for the PIDs
    /// @param where   names the stream in messages
    TsRemapper(PidMap map, const TsReport& report, std::string where);

    /// @throws ToolError for a table over several packets, which is not rewritten
    void rewrite(TsUnit& unit);

    /// Packets with another PID now.
    uint64_t rewritten() const { return m_rewritten; }

private:
    void rewriteTables(TsUnit& unit);
    void renumber(TsUnit& unit, int newPid, Continuity::Verdict verdict);

    const PidMap m_map;
    const std::string m_where;
    std::set<int> m_tablePids;
    std::map<int, Continuity> m_continuity; ///< by old PID
    hascommon::TsProcessData m_streams;     ///< by new PID
    uint64_t m_rewritten = 0;
};

} // namespace hastool
