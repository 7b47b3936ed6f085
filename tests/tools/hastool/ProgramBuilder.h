// Makes segments of transport streams with H.264 and AAC, packet by packet.
#pragma once

#include "TsBuilder.h"

#include <cstdint>
#include <map>
#include <string>

namespace test {

/// Units of H.264 with their start codes; the slices are only begun.
inline Bytes keySlice() {
    return {0, 0, 1, 0x65, 0x88, 0x84, 0x21, 0xA0};
}
inline Bytes plainSlice() {
    return {0, 0, 1, 0x41, 0x9A, 0x24, 0x6C, 0x41};
}
inline Bytes smallSet() {
    return Bytes{0, 0, 0, 1} + smallSps();
}
/// A picture that decoding can begin with, with its parameter set.
inline Bytes keyPicture() {
    return smallSet() + keySlice();
}

/// Frames of AAC (low complexity, 48 kHz, two channels), 8 bytes each.
inline Bytes adtsFrames(int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i)
        bytes = bytes + Bytes{0xFF, 0xF1, 0x4C, 0x80, 0x01, 0x1F, 0xFC} + Bytes(1, 0x21);
    return bytes;
}

/// A program with video on PID 0x100 and audio on PID 0x101. Times are in 1/90,000 s.
class ProgramBuilder {
public:
    ProgramBuilder& tables() {
        add(tablePackets(0, section(0, 1, patEntry(1, 0x1000)), m_counters[0]++));
        return pmt();
    }
    ProgramBuilder& pmt(unsigned int videoType = 0x1B) {
        add(tablePackets(
            0x1000, section(2, 1, pmtBody(0x100, {}, stream(videoType, 0x100) + stream(15, 0x101))),
            m_counters[0x1000]++));
        return *this;
    }
    /// A PES packet in one packet.
    ProgramBuilder& pes(int pid, int id, int64_t presented, int64_t decoded, const Bytes& payload,
                        long long clock = -1) {
        Packet packet;
        packet.pid = pid;
        packet.counter = m_counters[pid]++;
        packet.start = true;
        packet.pcr = clock;
        packet.payload = Bytes{0, 0, 1, low(static_cast<unsigned int>(id)), 0, 0, 0x80, 0xC0, 10} +
                         time(3, presented) + time(1, decoded) + payload;
        return add(bytesOf(packet));
    }
    ProgramBuilder& video(int64_t presented, int64_t decoded, const Bytes& payload,
                          long long clock = -1) {
        return pes(0x100, 0xE0, presented, decoded, payload, clock);
    }
    ProgramBuilder& audio(int64_t presented, int frames) {
        return pes(0x101, 0xC0, presented, presented, adtsFrames(frames));
    }
    ProgramBuilder& add(const Bytes& bytes) {
        m_bytes = m_bytes + bytes;
        return *this;
    }
    /// Leaves packets of a PID out.
    ProgramBuilder& lose(int pid, int count) {
        m_counters[pid] += count;
        return *this;
    }
    std::string text() const { return textOf(m_bytes); }

private:
    static Bytes time(unsigned int mark, int64_t value) {
        const auto bits = static_cast<uint64_t>(value);
        return {low(static_cast<unsigned int>(mark << 4 | (bits >> 29 & 0x0E) | 1)),
                low(static_cast<unsigned int>(bits >> 22)),
                low(static_cast<unsigned int>((bits >> 14 & 0xFE) | 1)),
                low(static_cast<unsigned int>(bits >> 7)),
                low(static_cast<unsigned int>((bits << 1 & 0xFE) | 1))};
    }

    Bytes m_bytes;
    std::map<int, int> m_counters;
};

/// Two seconds: ten pictures of 200 ms, 94 frames of audio. @param begin  in 1/90,000 s
inline ProgramBuilder goodProgram(int64_t begin = 90000) {
    ProgramBuilder program;
    program.tables();
    for (int i = 0; i < 10; ++i) {
        const int64_t time = begin + i * 18000;
        program.video(time, time, i == 0 ? keyPicture() : plainSlice(), time - 9000);
        program.audio(begin + i * 9 * 1920, i < 9 ? 9 : 13);
    }
    return program;
}

} // namespace test
