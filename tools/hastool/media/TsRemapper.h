// Gives the streams of a transport stream other PIDs.
#pragma once

#include "Continuity.h"
#include "PidMap.h"
#include "SectionPatcher.h"
#include "TsUnit.h"
#include <hastool/base/ByteSource.h>

#include <Hasutil/TsProcessData.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>

namespace hastool {

struct TsReport;

/// Rewrites packets: their PIDs, their continuity counters, which then count without a gap, and the
/// PIDs that the tables name, with the tables' checksums. Everything goes out in the order it came
/// in; while a table's section is not whole, all packets since its begin wait.
class TsRemapper {
public:
    /// The most packets, and pieces between them, that wait for the rest of a section: 12 MB, some
    /// seconds of any stream, where tables come several times a second.
    static constexpr size_t kMaxWaiting = 65536;

    /// @param report  of the whole stream. @throws ToolError when the map has more PIDs than the
    ///                library can count packets of
    /// @param where   names the stream in messages
    TsRemapper(PidMap map, const TsReport& report, std::string where, PieceSink sink);

    /// Takes the next packet. @throws ToolError when more than kMaxWaiting wait for a section
    void push(const TsUnit& unit);
    /// Takes bytes between packets, which stay as they are. @throws ToolError as push()
    void keep(const unsigned char* data, size_t size);
    /// Says that there is no more.
    void finish() { handOut(m_next); }

    /// How many packets have got another PID.
    uint64_t rewritten() const { return m_rewritten; }

private:
    /// A packet, or bytes outside of packets.
    struct Item {
        TsUnit unit;
        int pid = -1; ///< the old PID; -1 for bytes
        bool isTable = false;
        bool isRepetition = false;
        std::string bytes;
    };

    void rewrite(Item& item, uint64_t number);
    void renumber(TsUnit& unit, int newPid, Continuity::Verdict verdict);
    void handOutReady();
    void handOut(uint64_t end);
    void handOut(Item& item);

    const PidMap m_map;
    const std::string m_where;
    PieceSink m_sink;
    std::map<int, SectionPatcher> m_tables;
    std::map<int, TsUnit> m_lastTables;     ///< the last packet of tables that went out, by old PID
    std::map<int, Continuity> m_continuity; ///< by old PID
    hascommon::TsProcessData m_streams;     ///< by new PID
    std::deque<Item> m_waiting;
    uint64_t m_next = 0; ///< number of the next item
    uint64_t m_rewritten = 0;
};

} // namespace hastool
