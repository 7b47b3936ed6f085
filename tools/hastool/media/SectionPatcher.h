// Changes the PIDs that the tables of one PID name.
#pragma once

#include "PidMap.h"
#include "PsiAssembler.h"
#include "TsUnit.h"

#include <cstdint>
#include <vector>

namespace hastool {

/// Follows the sections of one PID, several in one packet or one over several (ISO/IEC 13818-1,
/// clause 2.4.4). When a section is whole, it is changed in the packets that it lies in.
class SectionPatcher {
public:
    /// @param map  borrowed
    explicit SectionPatcher(const PidMap& map)
        : m_map(map) {}

    /// @param unit    with a payload in the clear. While isWaiting(), packets from firstPacket() on
    ///                must stay in place, and be changed by nobody else.
    /// @param number  of the packet in the stream
    void push(TsUnit& unit, uint64_t number);

    /// Whether a section has begun that is not whole yet.
    bool isWaiting() const { return !m_bytes.empty(); }
    /// The number of the packet that this section begins in.
    uint64_t firstPacket() const { return m_first; }

private:
    void append(unsigned char* data, size_t size);
    /// @return whether a section was complete
    bool takeSection();
    void clear();

    const PidMap& m_map;
    Bytes m_bytes;                        ///< of the section that has begun
    std::vector<unsigned char*> m_places; ///< of these bytes, in their packets
    uint64_t m_first = 0;
};

} // namespace hastool
