#include "PacketFinder.h"

namespace hastool {
namespace {

constexpr size_t kPlain = kTsPacketSize;
constexpr size_t kTimed = kTsPacketSize + kTimecodeSize;
constexpr size_t kConfirmations = 2;
// Enough to confirm a sync byte anywhere in the current packet.
constexpr size_t kLookahead = (kConfirmations + 2) * kTimed;

} // namespace

void PacketFinder::push(const unsigned char* data, size_t size) {
    m_buffer.insert(m_buffer.end(), data, data + size);
    drain(false);
}

void PacketFinder::finish() {
    drain(true);
    handRest(m_buffer.size());
}

void PacketFinder::drain(bool isEnd) {
    bool goesOn = true;
    while (goesOn)
        goesOn = m_stride == 0 ? lock(isEnd) : takePacket(isEnd);
    forget();
}

bool PacketFinder::lock(bool isEnd) {
    size_t at = m_at;
    for (; at < m_buffer.size() && (isEnd || m_buffer.size() - at >= kLookahead); ++at) {
        m_stride = strideAt(at);
        if (m_stride == 0)
            continue;
        m_lastStride = m_stride;
        skipTo(at, m_stride);
        return true;
    }
    skipTo(at, 0);
    return false;
}

bool PacketFinder::takePacket(bool isEnd) {
    const size_t left = m_buffer.size() - std::min(m_at, m_buffer.size());
    if (left == 0 || (!isEnd && left < kLookahead))
        return false;
    if (left < kTsPacketSize) {
        skipTo(m_buffer.size(), 0);
        return false;
    }
    if (m_buffer[m_at] != kTsSync || isCut()) {
        ++m_losses;
        m_stride = 0;
        // The search goes on behind the sync byte of a cut packet, or would find that packet again.
        skipTo(m_at + 1, 0);
        return true;
    }
    deliver();
    m_at += m_stride;
    return true;
}

/// The distance between the packets that begin at a place; 0 where no packet begins there.
size_t PacketFinder::strideAt(size_t at) const {
    if (m_buffer[at] != kTsSync)
        return 0;
    for (const size_t stride : {kPlain, kTimed}) {
        if (isRun(at, stride))
            return stride;
    }
    // A stream may consist of one packet, or end with one.
    const bool isLast = m_buffer.size() - at == kTsPacketSize;
    if (!isLast || (m_lastStride == 0 && at != 0 && at != kTimecodeSize))
        return 0;
    return m_lastStride == kTimed || (m_lastStride == 0 && at == kTimecodeSize) ? kTimed : kPlain;
}

/// Whether sync bytes follow at this distance: at least one, and at all places that are in memory.
bool PacketFinder::isRun(size_t at, size_t stride) const {
    if (at + stride >= m_buffer.size())
        return false;
    for (size_t i = 1; i <= kConfirmations && at + i * stride < m_buffer.size(); ++i) {
        if (m_buffer[at + i * stride] != kTsSync)
            return false;
    }
    return true;
}

/// Whether another run of packets begins inside the current packet, which was therefore cut.
bool PacketFinder::isCut() const {
    const size_t next = m_at + m_stride;
    if (next >= m_buffer.size() || m_buffer[next] == kTsSync)
        return false;
    for (size_t at = m_at + 1; at < m_at + kTsPacketSize; ++at) {
        if (m_buffer[at] == kTsSync && isRun(at, m_stride))
            return true;
    }
    return false;
}

void PacketFinder::skipTo(size_t at, size_t stride) {
    m_gap += at - m_at;
    m_skipped += at - m_at;
    m_at = at;
    if (stride != kTimed)
        return;
    m_skipped -= std::min<uint64_t>(kTimecodeSize, m_gap);
    m_gap = 0;
}

void PacketFinder::deliver() {
    TsUnit unit;
    const auto sync = m_buffer.begin() + static_cast<std::ptrdiff_t>(m_at);
    std::copy_n(sync, kTsPacketSize, unit.packet.begin());
    unit.hasTimecode = m_stride == kTimed && m_at >= m_handed + kTimecodeSize;
    if (unit.hasTimecode)
        std::copy_n(sync - kTimecodeSize, kTimecodeSize, unit.timecode.begin());
    handRest(m_at - (unit.hasTimecode ? kTimecodeSize : 0));
    m_handed = m_at + kTsPacketSize;
    ++m_packets;
    m_gap = 0;
    m_sink(unit);
}

/// Hands out the bytes before `end` that belong to no packet.
void PacketFinder::handRest(size_t end) {
    if (end <= m_handed)
        return;
    if (m_rest)
        m_rest(m_buffer.data() + m_handed, end - m_handed);
    m_handed = end;
}

/// Drops bytes that are done with, but for the last four, which may be a time code.
void PacketFinder::forget() {
    const size_t done = std::min(m_at - std::min<size_t>(m_at, kTimecodeSize), m_buffer.size());
    handRest(done);
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(done));
    m_at -= done;
    m_handed -= done;
}

} // namespace hastool
