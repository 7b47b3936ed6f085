#include "TransportReader.h"

#include "PacketFinder.h"

#include <algorithm>
#include <cstring>

namespace hastool {
namespace {

constexpr int kPatPid = 0;
constexpr int kFirstFreePid = 0x10;
constexpr size_t kPiece = 64 << 10;

/// Whether packets of 188 bytes stand side by side from begin to end.
bool isRegular(std::string_view media) {
    if (media.size() % kTsPacketSize != 0)
        return false;
    for (size_t at = 0; at < media.size(); at += kTsPacketSize) {
        if (static_cast<unsigned char>(media[at]) != kTsSync)
            return false;
    }
    return true;
}

/// The base of a packet's clock reference, in units of 1/90,000 s, and its rest in 1/27,000,000 s.
std::optional<std::pair<uint64_t, unsigned>> clockOf(const TsUnit& unit) {
    constexpr unsigned kHasClock = 0x10;
    constexpr unsigned kClockSize = 7; // with the flags before it
    if ((unit.adaptationFlags() & kHasClock) == 0 || unit.adaptationSize() < kClockSize)
        return std::nullopt;
    const unsigned char* const at = unit.packet.data() + 6;
    const uint64_t base = uint64_t{at[0]} << 25 | uint64_t{at[1]} << 17 | uint64_t{at[2]} << 9 |
                          uint64_t{at[3]} << 1 | uint64_t{at[4]} >> 7;
    return std::pair(base, (at[4] & 1U) << 8 | at[5]);
}

bool namesOthers(const PmtSection& a, const PmtSection& b) {
    const auto same = [](const PmtStream& x, const PmtStream& y) {
        return x.pid == y.pid && x.type == y.type;
    };
    return !std::equal(a.streams.begin(), a.streams.end(), b.streams.begin(), b.streams.end(),
                       same);
}

} // namespace

bool TransportFacts::isScrambled() const {
    return std::any_of(pids.begin(), pids.end(),
                       [](const auto& it) { return it.second.scrambled > 0; });
}

void TransportReader::read(std::string_view media, SegmentFacts& facts) {
    TransportReader reader(facts);
    reader.readPackets(media);
    if (facts.transport.isMediaBeforeTables && reader.m_pmt) {
        // Who knows the tables from another segment decodes what comes before them, too.
        facts.transport = TransportFacts();
        TransportReader again(facts);
        again.takePmt(*reader.m_pmt);
        again.m_pmt.reset();
        again.readPackets(media);
        again.finish();
        facts.transport.isMediaBeforeTables = true;
        return;
    }
    reader.finish();
}

void TransportReader::readPackets(std::string_view media) {
    if (isRegular(media)) {
        TsUnit unit;
        for (size_t at = 0; at < media.size(); at += kTsPacketSize) {
            std::memcpy(unit.packet.data(), media.data() + at, kTsPacketSize);
            take(unit);
        }
        return;
    }
    PacketFinder finder([this](const TsUnit& unit) { take(unit); });
    const auto* const bytes = reinterpret_cast<const unsigned char*>(media.data());
    for (size_t at = 0; at < media.size(); at += kPiece)
        finder.push(bytes + at, std::min(kPiece, media.size() - at));
    finder.finish();
    m_facts.syncLosses = finder.syncLosses();
    m_facts.strayBytes = finder.skippedBytes();
}

void TransportReader::take(const TsUnit& unit) {
    ++m_facts.packets;
    if (unit.hasError()) {
        ++m_facts.damaged;
        return;
    }
    const int pid = unit.pid();
    if (pid == kNullPid) {
        ++m_facts.nulls;
        return;
    }
    if (m_facts.pids.size() >= kMaxPids && m_facts.pids.count(pid) == 0)
        return;
    const Continuity::Verdict verdict = m_continuity[pid].push(unit);
    count(unit, m_facts.pids[pid], verdict);
    takeClock(unit);
    if (verdict == Continuity::Verdict::Duplicate || unit.scrambling() != 0 ||
        unit.payloadSize() == 0)
        return;
    if (pid == kPatPid || m_tables.count(pid) > 0)
        tableOf(pid).push(unit, verdict == Continuity::Verdict::Follows);
    else if (TransportStreamPid* const media = mediaOf(pid, unit))
        media->push(unit, m_facts.pids[pid]);
}

void TransportReader::count(const TsUnit& unit, PidFacts& facts, Continuity::Verdict verdict) {
    ++facts.packets;
    facts.continuityErrors += verdict == Continuity::Verdict::Error ? 1 : 0;
    facts.scrambled += unit.scrambling() != 0 ? 1 : 0;
    if (!facts.firstCounter) {
        facts.firstCounter = unit.counter();
        facts.isFirstPayload = unit.hasPayload();
        facts.isFirstDiscontinuous = unit.isDiscontinuous();
    }
    facts.lastCounter = unit.counter();
}

/// What puts the sections of a PID together.
PsiAssembler& TransportReader::tableOf(int pid) {
    auto& table = m_tables[pid];
    if (!table) {
        table = std::make_unique<PsiAssembler>([this, pid](const Bytes& section) {
            if (const auto pat = pid == kPatPid ? parsePat(section) : std::nullopt)
                takePat(*pat);
            else if (const auto pmt = pid != kPatPid ? parsePmt(section) : std::nullopt)
                takePmt(*pmt);
        });
    }
    return *table;
}

void TransportReader::takePat(const PatSection& pat) {
    constexpr size_t kMostPrograms = 64;
    if (!pat.isCurrent)
        return;
    m_facts.hasPat = true;
    m_facts.programs = 0;
    for (const PatProgram& it : pat.programs) {
        if (it.number == 0 || m_facts.programs >= kMostPrograms)
            continue;
        ++m_facts.programs;
        if (it.pid != kPatPid && m_media.count(it.pid) == 0)
            tableOf(it.pid);
    }
}

void TransportReader::takePmt(const PmtSection& pmt) {
    if (!pmt.isCurrent || (m_pmt && pmt.program != m_pmt->program))
        return;
    m_facts.hasPmt = true;
    m_facts.hasTableChange = m_facts.hasTableChange || (m_pmt && namesOthers(*m_pmt, pmt));
    m_facts.clock.pid = pmt.pcrPid;
    for (const PmtStream& it : pmt.streams) {
        if (m_facts.pids.size() < kMaxPids)
            m_facts.pids[it.pid].type = it.type;
    }
    m_pmt = pmt;
}

void TransportReader::takeClock(const TsUnit& unit) {
    const auto clock = unit.pid() == m_facts.clock.pid ? clockOf(unit) : std::nullopt;
    if (!clock)
        return;
    const double now = static_cast<double>(m_clock.extend(clock->first)) / 90000 +
                       static_cast<double>(clock->second) / 27e6;
    ClockFacts& facts = m_facts.clock;
    facts.first = facts.count++ == 0 ? now : facts.first;
    if (m_lastClock && !unit.isDiscontinuous()) {
        facts.backwards += now < *m_lastClock ? 1 : 0;
        facts.longest = std::max(facts.longest, now - *m_lastClock);
    }
    facts.last = now;
    m_lastClock = now;
}

/// The stream that a packet belongs to; null for what is not media.
TransportStreamPid* TransportReader::mediaOf(int pid, const TsUnit& unit) {
    const auto found = m_media.find(pid);
    if (found != m_media.end())
        return found->second.get();
    const bool isPes = unit.isUnitStart() && readPesTimes(unit.payload(), unit.payloadSize());
    const unsigned type = m_facts.pids[pid].type;
    if (type == 0 && isPes && pid >= kFirstFreePid && !m_facts.hasPmt)
        m_facts.isMediaBeforeTables = true;
    if (type == 0 || !kindOfStreamType(type) || !isPes)
        return nullptr;
    auto& media = m_media[pid];
    media = std::make_unique<TransportStreamPid>(pid, type);
    return media.get();
}

void TransportReader::finish() {
    for (const auto& [pid, table] : m_tables)
        m_facts.badSections += table ? table->badSections() : 0;
    for (const auto& [pid, media] : m_media) {
        if (auto stream = media->finish())
            m_streams.push_back(std::move(*stream));
    }
}

} // namespace hastool
