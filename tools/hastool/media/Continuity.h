// Whether the packets of a PID follow one another.
#pragma once

#include "TsUnit.h"

#include <cstdint>

namespace hastool {

/// Follows the continuity counter of one PID (ISO/IEC 13818-1, clause 2.4.3.3): the counter counts
/// packets with a payload, a packet may be sent twice, and an announced discontinuity is no error.
class Continuity {
public:
    enum class Verdict { Follows, Duplicate, Announced, Error };

    Verdict push(const TsUnit& unit);

    uint64_t errors() const { return m_errors; }
    uint64_t duplicates() const { return m_duplicates; }

private:
    Verdict judge(const TsUnit& unit) const;
    bool isRepetition(const TsUnit& unit) const;

    TsUnit m_last;
    bool m_hasLast = false;
    bool m_wasRepeated = false;
    uint64_t m_errors = 0;
    uint64_t m_duplicates = 0;
};

} // namespace hastool
