#include "Continuity.h"

namespace hastool {

Continuity::Verdict Continuity::push(const TsUnit& unit) {
    const Verdict verdict = judge(unit);
    m_errors += verdict == Verdict::Error ? 1 : 0;
    m_duplicates += verdict == Verdict::Duplicate ? 1 : 0;
    m_wasRepeated = verdict == Verdict::Duplicate;
    m_hasLast = true;
    m_last = unit;
    return verdict;
}

Continuity::Verdict Continuity::judge(const TsUnit& unit) const {
    if (!m_hasLast)
        return Verdict::Follows;
    const int step = (unit.counter() - m_last.counter()) & 0x0F;
    if (step == (unit.hasPayload() ? 1 : 0))
        return Verdict::Follows;
    if (unit.isDiscontinuous())
        return Verdict::Announced;
    return step == 0 && isRepetition(unit) ? Verdict::Duplicate : Verdict::Error;
}

/// The clock reference is the one thing that may differ in a packet sent again.
bool Continuity::isRepetition(const TsUnit& unit) const {
    return !m_wasRepeated && m_last.hasPayload() && unit.payloadSize() == m_last.payloadSize() &&
           std::equal(unit.payload(), unit.payload() + unit.payloadSize(), m_last.payload());
}

} // namespace hastool
