// Finds the packets of a transport stream.
#pragma once

#include "TsUnit.h"
#include <hastool/base/ByteSource.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace hastool {

/// Cuts a byte stream into packets of 188 bytes, also those of M2TS files, which stand 192 bytes
/// apart, each behind a time code. Bytes of no packet are skipped: reading goes on where three sync
/// bytes stand a packet's length apart. Near the end of the stream fewer will do.
class PacketFinder {
public:
    using Sink = std::function<void(const TsUnit& unit)>;

    /// @param rest  takes the bytes that belong neither to a packet nor to its time code, in their
    ///              place between the packets; null where nobody wants them
    explicit PacketFinder(Sink sink, PieceSink rest = nullptr)
        : m_sink(std::move(sink))
        , m_rest(std::move(rest)) {}

    /// Takes the next bytes. A packet is handed out when the bytes behind it have confirmed it.
    void push(const unsigned char* data, size_t size);
    /// Says that there are no more.
    void finish();

    /// 188 or 192; 0 before the first packet.
    size_t packetSize() const { return m_lastStride; }
    uint64_t packets() const { return m_packets; }
    /// Bytes that belong to no packet.
    uint64_t skippedBytes() const { return m_skipped; }
    /// How often no packet stood where the next one was expected.
    uint64_t syncLosses() const { return m_losses; }

private:
    void drain(bool isEnd);
    bool lock(bool isEnd);
    bool takePacket(bool isEnd);
    size_t strideAt(size_t at) const;
    bool isRun(size_t at, size_t stride) const;
    bool isCut() const;
    void skipTo(size_t at, size_t stride);
    void deliver();
    void handRest(size_t end);
    void forget();

    Sink m_sink;
    PieceSink m_rest;
    std::vector<unsigned char> m_buffer;
    size_t m_at = 0;     ///< where the next sync byte should be; may lie behind the buffer
    size_t m_handed = 0; ///< everything before it has been handed out
    size_t m_stride = 0; ///< 0 while there is no sync
    size_t m_lastStride = 0;
    uint64_t m_gap = 0; ///< bytes since the last packet
    uint64_t m_packets = 0;
    uint64_t m_skipped = 0;
    uint64_t m_losses = 0;
};

} // namespace hastool
