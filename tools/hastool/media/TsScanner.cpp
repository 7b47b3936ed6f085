#include "TsScanner.h"

#include <Hasutil/IPacketProcessor.h>

namespace hastool {
namespace {

constexpr unsigned int kPcrFlag = 0x10;
constexpr unsigned int kPcrFieldEnd = 7; // flags and clock reference
constexpr unsigned long long kTicksPerClock = 300;

/// Whether a PMT may begin in a packet. PMTs that no PAT names are dropped in the end.
bool mayHaveTables(const TsUnit& unit, int pid) {
    if (pid == 0 || pid == 1)
        return true;
    const size_t size = unit.payloadSize();
    if (!unit.isUnitStart() || size == 0)
        return false;
    const size_t section = 1 + size_t{unit.payload()[0]};
    return section < size && unit.payload()[section] == kTableIdPmt;
}

} // namespace

TsScanner::TsScanner()
    : m_finder([this](const TsUnit& unit) { take(unit); }) {}

TsScanner::~TsScanner() {
    m_broadband.Final();
}

TsReport TsScanner::finish() {
    m_finder.finish();
    m_report.packetSize = m_finder.packetSize();
    m_report.packets = m_finder.packets();
    m_report.skippedBytes = m_finder.skippedBytes();
    m_report.syncLosses = m_finder.syncLosses();
    joinPrograms();
    for (const auto& [pid, state] : m_pids) {
        PidReport& report = m_report.pids[pid];
        report = state.report;
        report.continuityErrors = state.continuity.errors();
        report.duplicates = state.continuity.duplicates();
        const std::string role = m_report.roleOf(pid);
        if (state.tables && (role == "PAT" || role == "CAT" || role == "PMT"))
            m_report.badSections += state.tables->badSections();
    }
    BroadbandReport& broadband = m_report.broadband;
    broadband.pmtPid = m_broadband.m_pmtPid;
    broadband.ecmPid = m_broadband.m_ecmPid;
    if (m_broadband.m_caPrivateData != nullptr)
        broadband.privateData.assign(m_broadband.m_caPrivateData,
                                     m_broadband.m_caPrivateData + m_broadband.m_caPrivateDataSize);
    return m_report;
}

void TsScanner::take(const TsUnit& unit) {
    const int pid = unit.pid();
    Pid& state = m_pids[pid];
    ++state.report.packets;
    m_report.errorPackets += unit.hasError() ? 1 : 0;
    if (unit.hasError() || pid == kNullPid)
        return;
    ++state.report.scrambling[unit.scrambling()];
    const Continuity::Verdict verdict = state.continuity.push(unit);
    if (verdict == Continuity::Verdict::Duplicate)
        return;
    takePcr(unit, state.report.pcr);
    takeTables(unit, pid, state, verdict == Continuity::Verdict::Follows);
    takeBroadband(unit);
}

void TsScanner::takePcr(const TsUnit& unit, PcrRange& range) {
    if (unit.adaptationSize() < kPcrFieldEnd || (unit.adaptationFlags() & kPcrFlag) == 0)
        return;
    constexpr unsigned int kFieldAt = 6;
    TsPacket packet = unit.packet;
    hascommon::BitstreamReader reader;
    reader.Reset(packet.data() + kFieldAt, static_cast<int>(kPcrFieldEnd - 1));
    const uint64_t clock = hascommon::IPacketProcessor().ReadPcrField(reader) / kTicksPerClock;
    if (range.count++ == 0)
        range.first = clock;
    range.last = clock;
}

void TsScanner::takeTables(const TsUnit& unit, int pid, Pid& state, bool follows) {
    if (unit.scrambling() != 0 || !unit.hasPayload())
        return;
    if (!state.tables && mayHaveTables(unit, pid))
        state.tables = std::make_unique<PsiAssembler>(
            [this, pid](const Bytes& section) { takeSection(pid, section); });
    if (state.tables)
        state.tables->push(unit, follows);
}

void TsScanner::takeSection(int pid, const Bytes& section) {
    if (pid == 0) {
        if (const auto pat = parsePat(section))
            takePat(*pat);
    } else if (pid == 1) {
        if (const auto cat = parseCat(section)) {
            for (const CaInfo& ca : *cat) {
                if (std::find(m_report.cat.begin(), m_report.cat.end(), ca) == m_report.cat.end())
                    m_report.cat.push_back(ca);
            }
        }
    } else if (const auto pmt = parsePmt(section)) {
        if (pmt->isCurrent)
            m_pmts[{pid, pmt->program}] = *pmt;
    }
}

/// A PAT may come in several sections; a new version replaces all of them.
void TsScanner::takePat(const PatSection& pat) {
    if (!pat.isCurrent)
        return;
    if (m_pat && (m_pat->version != pat.version || m_pat->streamId != pat.streamId))
        m_report.programs.clear();
    m_pat = pat;
    m_report.hasPat = true;
    m_report.streamId = pat.streamId;
    for (const PatProgram& program : pat.programs) {
        if (program.number == 0)
            m_report.networkPid = program.pid;
        else
            m_report.programs[program.number].pmtPid = program.pid;
    }
}

void TsScanner::takeBroadband(const TsUnit& unit) {
    constexpr unsigned int kEcm = 4;
    TsPacket packet = unit.packet;
    CBbtsParser::TS_HEADER header{};
    m_broadband.TsParser(packet.data(), kTsPacketSize, header);
    m_report.broadband.ecmPackets += header.packet_kind == kEcm ? 1 : 0;
}

void TsScanner::joinPrograms() {
    for (auto& [number, program] : m_report.programs) {
        const auto found = m_pmts.find({program.pmtPid, number});
        program.hasPmt = found != m_pmts.end();
        if (program.hasPmt)
            program.pmt = found->second;
    }
}

TsReport scanTs(const ByteSource& source) {
    TsScanner scanner;
    source([&scanner](const unsigned char* data, size_t size) { scanner.push(data, size); });
    return scanner.finish();
}

} // namespace hastool
