#include "TsRemapper.h"

#include "../engine/ToolError.h"
#include "HexText.h"
#include "PsiPatch.h"
#include "TsReport.h"

#include <Hasutil/IPacketProcessor.h>

namespace hastool {
namespace {

hascommon::StreamType typeOf(const TsReport& report, int pid) {
    const std::string role = report.roleOf(pid);
    if (role.find("video") != std::string::npos)
        return hascommon::STREAM_TYPE_VIDEO;
    return role.find("audio") != std::string::npos ? hascommon::STREAM_TYPE_AUDIO
                                                   : hascommon::STREAM_TYPE_NONE;
}

} // namespace

TsRemapper::TsRemapper(PidMap map, const TsReport& report, std::string where)
    : m_map(std::move(map))
    , m_where(std::move(where))
    , m_tablePids({0, 1}) {
    for (const auto& [number, program] : report.programs)
        m_tablePids.insert(program.pmtPid);
    for (const auto& [from, to] : m_map) {
        const bool hasPcr = report.pids.at(from).pcr.count > 0;
        if (m_streams.UpdateEsInfo(to, typeOf(report, from), hasPcr) == nullptr)
            throw ToolError(m_where, "too many PIDs to rewrite");
    }
}

void TsRemapper::rewrite(TsUnit& unit) {
    const int pid = unit.pid();
    if (!unit.hasError() && m_tablePids.count(pid) != 0)
        rewriteTables(unit);
    const auto found = m_map.find(pid);
    if (found == m_map.end())
        return;
    if (!unit.hasError())
        renumber(unit, found->second, m_continuity[pid].push(unit));
    hascommon::IPacketProcessor().ChangePid(unit.packet, found->second);
    ++m_rewritten;
}

void TsRemapper::rewriteTables(TsUnit& unit) {
    if (unit.scrambling() != 0 || unit.payloadSize() == 0)
        return;
    const size_t at = kTsPacketSize - unit.payloadSize();
    if (!patchTables(unit.packet.data() + at, unit.payloadSize(), unit.isUnitStart(), m_map))
        throw ToolError(m_where, "the table on PID " + pidText(unit.pid()) +
                                     " goes over several packets; it cannot be rewritten");
}

/// The first packet keeps its number. One that does not count, or is sent again, has the number of
/// the packet before.
void TsRemapper::renumber(TsUnit& unit, int newPid, Continuity::Verdict verdict) {
    const bool counts = unit.hasPayload() && verdict != Continuity::Verdict::Duplicate;
    int counter = m_streams.GetEsCounter(newPid);
    if (counter < 0)
        counter = unit.counter() + (counts ? 15 : 0);
    if (!counts)
        counter += 15;
    hascommon::IPacketProcessor().UpdateCounter(unit.packet, counter);
    m_streams.SetEsCount(newPid, counter);
}

} // namespace hastool
