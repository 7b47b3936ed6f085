// Puts the sections of tables together.
#pragma once

#include "TsUnit.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace hastool {

using Bytes = std::vector<unsigned char>;

/// Collects the sections of one PID from its packets: several in one packet, or one over several
/// (ISO/IEC 13818-1, clause 2.4.4). A section reaches the sink when it is whole and its checksum
/// is right; a section that lost a packet is dropped.
class PsiAssembler {
public:
    using Sink = std::function<void(const Bytes& section)>;

    explicit PsiAssembler(Sink sink)
        : m_sink(std::move(sink)) {}

    /// @param follows  whether no packet is missing before this one
    void push(const TsUnit& unit, bool follows);

    /// Whole sections whose checksum, length or form is wrong.
    uint64_t badSections() const { return m_bad; }

private:
    void append(const unsigned char* data, size_t size);
    /// @return whether a section was complete
    bool takeSection();

    Sink m_sink;
    Bytes m_bytes; ///< of a section that has begun
    uint64_t m_bad = 0;
};

} // namespace hastool
