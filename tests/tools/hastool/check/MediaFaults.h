// Breaks segments: packets of transport streams, fields of MP4 boxes.
#pragma once

#include "CheckedFolder.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace test {

constexpr int kVideoPid = 0x100;
constexpr int kAudioPid = 0x101;
constexpr size_t kPacketBytes = 188;

/// A packet of a segment.
class PacketAt {
public:
    explicit PacketAt(char* bytes)
        : m_bytes(reinterpret_cast<unsigned char*>(bytes)) {}

    int pid() const { return (m_bytes[1] & 0x1F) << 8 | m_bytes[2]; }
    bool isStart() const { return (m_bytes[1] & 0x40) != 0; }
    bool hasClock() const;
    void takeClockAway() { m_bytes[5] = static_cast<unsigned char>(m_bytes[5] & ~0x10); }
    void damage() { m_bytes[1] |= 0x80; }
    void scramble() { m_bytes[3] |= 0x80; }
    /// Moves the clock reference, where there is one. @param seconds  may be negative
    void moveClock(double seconds);
    /// Moves the times of the PES packet that begins here.
    void moveTimes(double seconds);

private:
    unsigned char* payload() const;

    unsigned char* m_bytes;
};

/// Calls back for every packet; what returns false is taken out.
void eachPacket(std::string& segment, const std::function<bool(PacketAt packet)>& look);

/// Moves a segment in time, with its clock.
void moveStream(std::string& segment, double seconds);

/// Takes the n-th packet of a PID out that begins nothing; counts from 0.
void dropPacket(std::string& segment, int pid, size_t number);

/// Replaces the first place of a text of bytes. A text that is not there fails the test.
void replaceBytes(std::string& bytes, const std::string& from, const std::string& to);

/// The big-endian number of `size` bytes at an offset behind the first box type of this name.
uint64_t fieldOf(const std::string& bytes, const std::string& type, size_t offset, size_t size);
/// Changes that number.
void setField(std::string& bytes, const std::string& type, size_t offset, size_t size,
              uint64_t value);

/// Makes a box of a type one that nobody reads, wherever it is.
void hideBoxes(std::string& bytes, const std::string& type);

/// Makes pictures of H.264 that decoding can begin with into others.
void spoilKeyFrames(std::string& segment);

/// A presentation of three segments of two seconds from ProgramBuilder: "v.m3u8", "0.ts"...
CheckedFolder builtStream();

/// A presentation of three segments of four seconds, each of two fragments: "v.m3u8", "i.mp4",
/// "0.m4s"...
CheckedFolder builtFragments();

} // namespace test
