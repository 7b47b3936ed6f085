#include "TsRemapper.h"

#include "HexText.h"
#include "TsReport.h"
#include <hastool/base/ToolError.h>

#include <Hasutil/IPacketProcessor.h>

#include <algorithm>

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

TsRemapper::TsRemapper(PidMap map, const TsReport& report, std::string where, PieceSink sink)
    : m_map(std::move(map))
    , m_where(std::move(where))
    , m_sink(std::move(sink)) {
    m_tables.emplace(0, m_map);
    m_tables.emplace(1, m_map);
    for (const auto& [number, program] : report.programs)
        m_tables.emplace(program.pmtPid, m_map);
    for (const auto& [from, to] : m_map) {
        const bool hasPcr = report.pids.at(from).pcr.count > 0;
        if (m_streams.UpdateEsInfo(to, typeOf(report, from), hasPcr) == nullptr)
            throw ToolError(m_where, "too many PIDs to rewrite");
    }
}

void TsRemapper::push(const TsUnit& unit) {
    m_waiting.emplace_back();
    m_waiting.back().unit = unit;
    m_waiting.back().pid = unit.pid();
    rewrite(m_waiting.back(), m_next++);
    handOutReady();
}

void TsRemapper::keep(const unsigned char* data, size_t size) {
    m_waiting.emplace_back();
    m_waiting.back().bytes.assign(reinterpret_cast<const char*>(data), size);
    ++m_next;
    handOutReady();
}

void TsRemapper::rewrite(Item& item, uint64_t number) {
    const auto table = m_tables.find(item.pid);
    const auto found = m_map.find(item.pid);
    TsUnit& unit = item.unit;
    if (!unit.hasError() && (table != m_tables.end() || found != m_map.end())) {
        const Continuity::Verdict verdict = m_continuity[item.pid].push(unit);
        item.isTable = table != m_tables.end() && unit.scrambling() == 0 && unit.payloadSize() > 0;
        item.isRepetition = item.isTable && verdict == Continuity::Verdict::Duplicate;
        if (item.isTable && !item.isRepetition)
            table->second.push(unit, number);
        if (found != m_map.end())
            renumber(unit, found->second, verdict);
    }
    if (found == m_map.end())
        return;
    hascommon::IPacketProcessor().ChangePid(unit.packet, found->second);
    ++m_rewritten;
}

void TsRemapper::handOutReady() {
    uint64_t end = m_next;
    int pid = -1;
    for (const auto& [itsPid, patcher] : m_tables) {
        if (patcher.isWaiting() && patcher.firstPacket() < end) {
            end = patcher.firstPacket();
            pid = itsPid;
        }
    }
    handOut(end);
    if (m_waiting.size() > kMaxWaiting)
        throw ToolError(m_where, "the table on PID " + pidText(pid) +
                                     " goes over too many packets; it cannot be rewritten");
}

void TsRemapper::handOut(uint64_t end) {
    for (uint64_t at = m_next - m_waiting.size(); at < end; ++at) {
        handOut(m_waiting.front());
        m_waiting.pop_front();
    }
}

void TsRemapper::handOut(Item& item) {
    if (item.pid < 0) {
        m_sink(reinterpret_cast<const unsigned char*>(item.bytes.data()), item.bytes.size());
        return;
    }
    TsUnit& unit = item.unit;
    if (item.isRepetition) { // gets the same changes as the packet that it repeats
        const TsUnit& first = m_lastTables[item.pid];
        const size_t size = std::min(unit.payloadSize(), first.payloadSize());
        std::copy_n(first.packet.end() - size, size, unit.packet.end() - size);
    } else if (item.isTable) {
        m_lastTables[item.pid] = unit;
    }
    if (unit.hasTimecode)
        m_sink(unit.timecode.data(), kTimecodeSize);
    m_sink(unit.packet.data(), kTsPacketSize);
}

/// The first packet keeps its number. A packet without payload, and one that is sent again, has the
/// number of the packet before.
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
