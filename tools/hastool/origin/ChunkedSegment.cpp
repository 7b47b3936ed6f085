#include "ChunkedSegment.h"

#include <algorithm>
#include <utility>

namespace hastool {

ChunkedSegment::ChunkedSegment(std::vector<Piece> pieces, const std::optional<Fault>& fault,
                               LiveTime& time)
    : m_pieces(std::move(pieces))
    , m_fault(fault)
    , m_time(&time) {
    const double now = time.now();
    m_isComplete = true;
    for (const Piece& it : m_pieces) {
        m_size += it.bytes.size();
        m_isComplete = m_isComplete && it.due <= now;
    }
    if (m_fault)
        m_faultAt = m_fault->kind == Fault::Kind::Truncate ? m_fault->bytes : m_size / 2;
}

std::string_view ChunkedSegment::next() {
    if (m_fault && m_sent >= m_faultAt && !meetFault())
        return {};
    while (m_piece < m_pieces.size() && m_place == m_pieces[m_piece].bytes.size()) {
        ++m_piece;
        m_place = 0;
    }
    if (m_piece == m_pieces.size() || !m_time->waitUntil(m_pieces[m_piece].due))
        return {};
    std::string_view bytes = m_pieces[m_piece].bytes;
    bytes.remove_prefix(m_place);
    if (m_fault)
        bytes = bytes.substr(0, static_cast<size_t>(std::max<uint64_t>(m_faultAt - m_sent, 1)));
    m_place += bytes.size();
    m_sent += bytes.size();
    return bytes;
}

/// @return whether the answer goes on behind the fault
bool ChunkedSegment::meetFault() {
    const Fault fault = *m_fault;
    m_fault.reset();
    m_isReset = fault.kind == Fault::Kind::Reset;
    return fault.kind == Fault::Kind::Stall && m_time->waitUntil(m_time->now() + fault.seconds);
}

} // namespace hastool
